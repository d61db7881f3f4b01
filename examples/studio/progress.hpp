// progress: a bar on standard error that depends on a model.
#ifndef Q7_STUDIO_PROGRESS_HPP
#define Q7_STUDIO_PROGRESS_HPP

#include "examples/studio/object.hpp"

namespace studio {

// The change that the model is told: value: blocks that are done.
enum { kProgressChange = 4213500 };

class ProgressBar {
 public:
  // Makes a view, a dependent of the model. A bar is drawn only if `visible`.
  ProgressBar(Q7Object *model, int total, bool visible);
  // Takes the view from the model, which nobody may be changing meanwhile.
  ~ProgressBar();
  ProgressBar(const ProgressBar &) = delete;
  ProgressBar &operator=(const ProgressBar &) = delete;

  void finish();  // ends the line

 private:
  Q7Object *model_;
  Referenced view_;
};

}  // namespace studio

#endif
