// iff_fuzz: the reader of chunked files. Enters, reads, leaves and skips as the input's own bytes say, so that every
// order of calls is tried; then loads the same bytes as an object stream.
#include "fuzz/fuzz.hpp"

namespace {

void read_something(Q7Object *iff, uint8_t choice) {
  uint64_t value = 0;
  uint32_t id = 0;
  char text[40];
  Q7TagItem block[] = {{Q7A_FILE_BUFFER, q7fuzz::arg(text)}, {Q7A_FILE_LENGTH, choice % sizeof text}, {Q7TAG_END, 0}};
  switch (choice % 13) {
    case 0:
    case 1:
    case 2: q7fuzz::put(iff, Q7M_IFF_BEGIN_READ, &id); break;
    case 3: q7fuzz::send(iff, Q7M_IFF_END_READ); break;
    case 4: q7fuzz::send(iff, Q7M_IFF_SKIP); break;
    case 5: q7fuzz::put(iff, Q7M_FILE_READ16, &value); break;
    case 6: q7fuzz::put(iff, Q7M_FILE_READ32, &value); break;
    case 7: q7fuzz::put(iff, Q7M_FILE_READ64, &value); break;
    case 8: q7fuzz::put(iff, Q7M_FILE_READ_SIZE, &value); break;
    case 9: q7fuzz::send(iff, Q7M_FILE_READ_COUNTED, sizeof text, text); break;
    case 10: q7fuzz::put(iff, Q7M_FILE_READ_STRING, block); break;
    case 11: q7fuzz::put(iff, Q7M_FILE_READ_LINE, block); break;
    default: q7fuzz::put(iff, Q7M_FILE_READ, block); break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  q7fuzz::start();
  const char *path = q7fuzz::input_file(data, size);
  uint32_t id = 0, form = 0;
  Q7Object *iff = Q7ObjectCreate(Q7C_IFF, Q7A_FILE_NAME, q7fuzz::arg(path), Q7A_FILE_MODE, q7fuzz::arg("r"), Q7A_IFF_ID,
                                 q7fuzz::arg(&id), Q7A_IFF_FORM, q7fuzz::arg(&form), 0);
  if (iff) {
    for (size_t i = 0; i < size; ++i) read_something(iff, data[size - 1 - i]);
    Q7ObjectDelete(iff);
  }
  Q7Object *file = Q7ObjectCreate(Q7C_FILE, Q7A_FILE_NAME, q7fuzz::arg(path), Q7A_FILE_MODE, q7fuzz::arg("r"), 0);
  if (!file) return 0;
  if (Q7Object *loaded = Q7ObjectLoad(file, 0)) Q7ObjectDelete(loaded);
  Q7ObjectDelete(file);
  return 0;
}
