// progress: the view's class: message 8 is the model's notice. It comes through the idle queue, so it is told on the
// main thread whatever the thread of the change.
#include "examples/studio/progress.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "examples/studio/texts.hpp"
#include "ui/q7model.h"

namespace studio {

namespace {

enum { kViewClass = 4213 };
constexpr int kWidth = 40;  // characters of the bar

struct View {
  int total;
  int done;   // most that was told; notices of several threads may overtake each other
  int drawn;  // percent; -1: nothing
  int step;   // percent between two drawings
  bool visible;
};

void draw(View &view) {
  const int percent = view.total ? static_cast<int>(100LL * view.done / view.total) : 100;
  if (!view.visible || (percent < view.drawn + view.step && percent < 100) || percent == view.drawn) return;
  view.drawn = percent;
  const int filled = kWidth * percent / 100;
  std::string bar(static_cast<size_t>(filled), '#');
  bar.resize(kWidth, '.');
  std::fprintf(stderr, "\r%s [%s] %3d %%", text(Text::kProgress), bar.c_str(), percent);
  std::fflush(stderr);
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_NOTICE) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  View &view = data<View>(cl, obj);
  if (static_cast<int32_t>(reinterpret_cast<intptr_t>(tags)) == kProgressChange) {
    view.done = std::max(view.done, static_cast<int>(a));
    draw(view);
  }
  return 1;
}

}  // namespace

ProgressBar::ProgressBar(Q7Object *model, int total, bool visible) : model_(model) {
  Q7ClassCreate(Q7C_ROOT, kViewClass, dispatch, sizeof(View), Q7CT_NAME, word("progressview"), 0);
  view_ = Referenced(Q7ObjectCreate(kViewClass, Q7A_NAME, word("bar"), 0));
  if (!view_) return;
  data<View>(view_.get()->cl, view_.get()) = {total, 0, -1, isatty(STDERR_FILENO) ? 1 : 20, visible};
  // Not told at once: through the idle queue.
  send(model_, Q7M_MODEL_ADD, 0, 0, slot(view_.get()));
}

ProgressBar::~ProgressBar() {
  finish();
  if (view_) send(model_, Q7M_MODEL_REMOVE, 0, 0, slot(view_.get()));
}

void ProgressBar::finish() {
  if (!view_) return;
  View &view = data<View>(view_.get()->cl, view_.get());
  if (view.visible && view.drawn >= 0) std::fputc('\n', stderr);
  view.visible = false;
}

}  // namespace studio
