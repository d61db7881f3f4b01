// render: the picture is cut into square blocks. The renderer is an object whose method traces one block; each executor
// gets one block to begin with, and the reply to it, which the executor sends on its own thread, queues the next one.
// After each block the renderer raises a change of a model; the model hands it through the application's idle queue to
// its dependents on the main thread, of which the progress bar is one.
#include "examples/studio/render.hpp"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <chrono>

#include "app/q7async.h"
#include "app/q7idle.h"
#include "examples/studio/progress.hpp"
#include "examples/studio/session.hpp"
#include "platform/posix/q7posix.h"
#include "platform/q7platform.h"
#include "ui/q7model.h"

namespace studio {

namespace {

constexpr int kBlock = 32;         // pixels along a side
constexpr uint64_t kLookMs = 100;  // between two looks for a signal
constexpr int kMostThreads = 256;

enum {
  kRendererClass = 4212,
  kTraceBlock = 4212001,  // a: number of the block. To be sent on any thread. 1, 0 when it was cancelled
  kNextBlock = 4212002    // the reply: a: the executor's number: queues its next block
};

struct Renderer {
  const World *world;
  Picture *picture;
  Q7Object *model;
  std::vector<Owned> *executors;
  int columns;  // of blocks
  int blocks;
  std::atomic<int> next;     // block that nobody has taken
  std::atomic<int> done;     // blocks
  std::atomic<int> working;  // executors that have a block
  std::atomic<bool> cancelled;
  std::atomic<uint64_t> rays;
};

// The object holds a pointer: what it points to is made and destroyed by render().
Renderer &renderer(const Q7Class *cl, Q7Object *obj) { return *data<Renderer *>(cl, obj); }

uint64_t trace_block(Renderer &r, int block) {
  const PictureSize size = r.picture->size;
  const int left = block % r.columns * kBlock;
  const int top = r.picture->rows.first + block / r.columns * kBlock;
  uint64_t rays = 0;
  for (int y = top; y < std::min(top + kBlock, r.picture->rows.end); ++y) {
    uint8_t *row = &r.picture->bytes[size_t(y - r.picture->rows.first) * static_cast<size_t>(size.width) * 3];
    for (int x = left; x < std::min(left + kBlock, size.width); ++x) {
      if (r.cancelled.load(std::memory_order_relaxed)) return 0;
      rays += trace_pixel(*r.world, size, x, y, row + size_t{3} * static_cast<size_t>(x));
    }
  }
  r.rays.fetch_add(rays, std::memory_order_relaxed);
  Q7TagItem change[] = {{kProgressChange, static_cast<uint64_t>(r.done.fetch_add(1) + 1)}, {Q7TAG_END, 0}};
  send(r.model, Q7M_MODEL_CHANGED, 0, 0, change);
  return 1;
}

bool queue_block(Renderer &r, Q7Object *self, uint64_t number, int block) {
  Q7TagItem request[] = {{Q7A_ASYNC_ARG1, static_cast<uint64_t>(block)},
                         {Q7A_ASYNC_REPLY_OBJECT, word(self)},
                         {Q7A_ASYNC_REPLY_METHOD, kNextBlock},
                         {Q7A_ASYNC_REPLY_ARG, number},
                         {Q7TAG_END, 0}};
  return send((*r.executors)[number].get(), Q7M_ASYNC_QUEUE, word(self), kTraceBlock, request) != 0;
}

// Gives an executor the next block; when there is none its work is over, and the main thread is to know.
uint64_t next_block(Renderer &r, Q7Object *self, uint64_t number) {
  const int block = r.cancelled ? r.blocks : r.next.fetch_add(1);
  if (block < r.blocks && queue_block(r, self, number, block)) return 1;
  if (block < r.blocks) r.cancelled = true;  // a block that nobody traces: the picture will not be whole
  r.working.fetch_sub(1);
  Q7WakeUpGui(Q7ApplicationContext);
  return 1;
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case kTraceBlock: return trace_block(renderer(cl, obj), static_cast<int>(a));
    case kNextBlock: return next_block(renderer(cl, obj), obj, a);
    default: return cl->superdispatch(cl->super, obj, method, a, b, tags);
  }
}

double seconds_since(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Runs the main loop until every executor has finished. @return seconds that went into what it delivered
double run_main_loop(Q7App *app, Renderer &r) {
  double busy = 0;
  while (r.working > 0) {
    Q7ProcessEvents(app, Q7PROCESS_RUN, Q7A_PROCESS_TIMEOUT, kLookMs, 0);
    if (interrupted()) r.cancelled = true;
  }
  const auto begin = std::chrono::steady_clock::now();
  while (Q7AppFlushIdle(app)) {
  }
  busy += seconds_since(begin);
  return busy;
}

}  // namespace

int threads_at_hand() {
  cpu_set_t set;
  CPU_ZERO(&set);
  const int count = sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
  return std::clamp(count, 1, kMostThreads);
}

RenderResult render(Q7App *app, const World &world, PictureSize size, Rows rows, int threads, bool bar) {
  if (!Q7ClassCreate(Q7C_ROOT, kRendererClass, dispatch, sizeof(Renderer *), Q7CT_NAME, word("renderer"), 0)) {
    throw failure_of("", Text::kNoMemory);
  }
  const auto begin = std::chrono::steady_clock::now();
  RenderResult result;
  result.picture = {size, rows, {}};
  result.picture.bytes.resize(static_cast<size_t>(rows.end - rows.first) * static_cast<size_t>(size.width) * 3);
  std::vector<Owned> executors;
  Renderer r = {};
  r.world = &world;
  r.picture = &result.picture;
  r.executors = &executors;
  r.columns = (size.width + kBlock - 1) / kBlock;
  r.blocks = r.columns * ((rows.end - rows.first + kBlock - 1) / kBlock);

  Owned model(Q7ObjectCreate(Q7C_MODEL, Q7A_NAME, word("progress"), 0));
  Owned self(Q7ObjectCreate(kRendererClass, Q7A_NAME, word("renderer"), 0));
  if (!model || !self) throw failure_of("", Text::kNoMemory);
  r.model = model.get();
  data<Renderer *>(self.get()->cl, self.get()) = &r;
  ProgressBar progress(model.get(), r.blocks, bar);

  threads = std::clamp(threads, 1, std::min(kMostThreads, std::max(r.blocks, 1)));
  for (int i = 0; i < threads; ++i) {
    executors.emplace_back(Q7ObjectCreate(Q7C_ASYNC, 0));
    if (!executors.back()) throw failure_of("", Text::kNoMemory);
  }
  r.working = threads;
  // From here on the executors know `r`; they are gone before it is.
  for (int i = 0; i < threads; ++i) next_block(r, self.get(), static_cast<uint64_t>(i));
  result.messages = run_main_loop(app, r);
  executors.clear();
  progress.finish();
  if (interrupted()) throw Cancelled(interrupted());
  if (r.cancelled) throw failure_of("", Text::kNoMemory);
  result.rays = r.rays;
  result.seconds = seconds_since(begin);
  return result;
}

}  // namespace studio
