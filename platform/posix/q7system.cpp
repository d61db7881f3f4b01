// q7system: start and end of the layer, each step handing on to the file that owns the matter.
#include "platform/posix/loop.hpp"
#include "platform/posix/services.hpp"
#include "platform/posix/threads.hpp"
#include "platform/q7platform.h"

using namespace q7posix;

int32_t J7OopsInit(Q7App *app) {
  if (!app) return 0;
  claim_main_thread();
  return 1;
}

int32_t J7OopsFree(Q7App *) {
  release_main_thread();
  return 1;
}

int32_t J7SystemDependInitP1(Q7App *app, int32_t, void *, uint32_t, void *) { return app && open_loop(); }

int32_t J7SystemDependInitP2(Q7App *app, int32_t, void *, uint32_t, void *) {
  if (!app) return 0;
  refresh_catalogues(app);
  return 1;
}

int32_t J7SystemDependFree(Q7App *) {
  close_loop();
  return 1;
}

int32_t J7SystemDependDelete(Q7App *) {
  close_settings();
  return 1;
}

int32_t J7AppTerminate(Q7App *app, ...) {
  if (!app) return 0;
  terminate_loop();
  return 1;
}
