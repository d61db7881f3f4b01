// fuzz: what the fuzz targets share: one application for the whole process, and inputs as files without a disk.
#ifndef Q7_FUZZ_FUZZ_HPP
#define Q7_FUZZ_FUZZ_HPP

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "app/q7app.h"
#include "core/q7objects.h"
#include "io/q7file.h"
#include "io/q7iff.h"

namespace q7fuzz {

template <class T>
uint64_t arg(T *pointer) {
  return reinterpret_cast<uint64_t>(pointer);
}
inline uint64_t put(Q7Object *obj, uint32_t method, void *value) {
  return obj->dispatch(obj->cl, obj, method, 0, 0, static_cast<Q7TagItem *>(value));
}
inline uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, void *value = nullptr) {
  return obj->dispatch(obj->cl, obj, method, a, 0, static_cast<Q7TagItem *>(value));
}

inline int silent(const char *, int, const char *, ...) { return 0; }

// Makes the application once; it lives as long as the process.
inline void start() {
  static int32_t count = 1;
  static char name[] = "fuzz";
  static char *arguments[] = {name, nullptr};
  static Q7App *app = Q7AppCreate(&count, arguments, Q7APP_Interactive, uint64_t{0}, Q7APP_ErrorHandler,
                                  reinterpret_cast<uint64_t>(&silent), 0);
  if (!app || !Q7RegisterIFFClass(app)) std::abort();
}

// The path of a file that holds the input; always the same one.
inline const char *input_file(const uint8_t *data, size_t size) {
  static const int descriptor = memfd_create("q7fuzz", 0);
  static char path[64];
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
  if (ftruncate(descriptor, 0) != 0 || pwrite(descriptor, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  return path;
}

}  // namespace q7fuzz

#endif
