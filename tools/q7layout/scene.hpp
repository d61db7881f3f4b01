// scene: the objects behind a description: real packers, placers and row-columns with widgets that have the sizes that
// are asked of them.
#ifndef Q7_TOOLS_Q7LAYOUT_SCENE_HPP
#define Q7_TOOLS_Q7LAYOUT_SCENE_HPP

#include <map>
#include <string>

#include "core/q7oops.h"
#include "platform/q7platform.h"
#include "tools/q7layout/description.hpp"

namespace q7layout {

class Scene {
 public:
  // Registers the classes; false, reported, when that fails.
  static bool prepare(Q7App *app);

  explicit Scene(Description &description);
  ~Scene();
  Scene(const Scene &) = delete;
  Scene &operator=(const Scene &) = delete;
  // False when memory ran out while the objects were made.
  bool complete() const { return complete_; }

  // Reads the sizes that everything needs; before the first layout.
  void measure();
  void lay_out(Pair size);
  // Drags a splitter as a user does; answers how far the boundary moved.
  int32_t drag(const Item &splitter, int32_t distance);

  // As the manager gave it.
  Q7Rect given(const Item &item) const;
  // From the left upper corner of the whole picture.
  Q7Rect rect(const Item &item) const;
  Q7Rect frame_rect(const Item &item) const;
  Pair min_size(const Item &item) const;
  // The row of a row-column that an item lies in; empty for others.
  std::string row(const Item &item) const;

 private:
  struct Objects {
    Q7Object *object = nullptr;
    Q7Object *frame = nullptr;
    Pair min;
  };
  bool make(const Item &item);
  bool add(const Item &item);
  bool add_to_placer(const Item &item, Q7Object *placer, Q7Object *object);
  // Where the coordinates of what lies in an item begin.
  Pair origin_of_members(const Item &item) const;
  Pair origin(const Item &item) const;
  Q7Object *object(const Item &item) const;

  Description &description_;
  std::map<const Item *, Objects> objects_;
  bool complete_ = true;
};

}  // namespace q7layout

#endif
