// render: a picture, or some of its rows, traced on asynchronous executors.
#ifndef Q7_STUDIO_RENDER_HPP
#define Q7_STUDIO_RENDER_HPP

#include <vector>

#include "app/q7app.h"
#include "examples/studio/trace.hpp"

namespace studio {

struct Rows {
  int first, end;  // end is not among them
};

struct Picture {
  PictureSize size;
  Rows rows;                   // those that are there
  std::vector<uint8_t> bytes;  // red, green, blue; row after row
};

struct RenderResult {
  Picture picture;
  uint64_t rays = 0;
  double seconds = 0;   // from the first request to the last reply
  double messages = 0;  // of these, what the main thread spent on idle messages
};

// Traces rows of a picture on `threads` executors; with a progress bar on standard error if `bar`. The result is the
// same bytes for any number of threads and any choice of rows. Throws Failure and Cancelled; no thread is left behind.
RenderResult render(Q7App *app, const World &world, PictureSize size, Rows rows, int threads, bool bar);

// Threads that this process may use.
int threads_at_hand();

}  // namespace studio

#endif
