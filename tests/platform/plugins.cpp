// plugins: the plug-in libraries of q7library_test, told apart by how they are compiled.
#include <cstdlib>

#include "core/q7oops.h"
#include "platform/q7platform.h"

namespace {
[[maybe_unused]] void count(const char *variable) {
  const char *value = getenv(variable);
  char text[2] = {static_cast<char>((value ? *value : '0') + 1), 0};
  setenv(variable, text, 1);
}
[[maybe_unused]] uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b,
                                   Q7TagItem *tags) {
  return method == 777000 ? 42 : cl->superdispatch(cl->super, obj, method, a, b, tags);
}
}  // namespace

#if defined PLUGIN_GOOD
extern "C" Q7_API int32_t Q7LibraryRegister(Q7App *) {
  count("PLUGIN_REGISTERED");
  return Q7ClassCreate(0, 777, dispatch, 0, Q7CT_NAME, reinterpret_cast<uint64_t>("plugged"), 0) != nullptr;
}
extern "C" Q7_API int32_t Q7LibraryUnregister(Q7App *) {
  count("PLUGIN_UNREGISTERED");
  return 1;
}
#elif defined PLUGIN_REFUSES
extern "C" Q7_API int32_t Q7LibraryRegister(Q7App *) { return 0; }
#elif defined PLUGIN_LEAVES_A_CLASS
extern "C" Q7_API int32_t Q7LibraryRegister(Q7App *) {
  Q7ClassCreate(0, 778, dispatch, 0, 0);
  return 0;
}
#else
extern "C" Q7_API int32_t SomethingElse() { return 1; }
#endif
