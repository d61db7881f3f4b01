// q7typeid: the type system is one table; the functions read it.
#include "core/q7typeid.h"

#include <cstdio>
#include <cstring>

namespace {

// How a type names its channels.
enum class Channels : uint8_t { kFail, kNone, kColour, kAxes, kNumber };

struct Type {
  uint8_t size;
  uint8_t channels;
  uint8_t channel_type;
  Channels names;
  const char *word;  // null: none
};

using enum Channels;

constexpr Type kTypes[] = {
    {0, 0, 0, kFail, nullptr},         // 0: not a type
    {4, 1, 1, kNone, "int "},          // 1
    {8, 1, 2, kNone, "float "},        // 2
    {2, 1, 3, kNone, "word "},         // 3
    {1, 1, 4, kNone, "byte "},         // 4
    {0, 0, 0, kFail, nullptr},         // 5
    {32, 4, 2, kColour, "float "},     // 6
    {4, 4, 4, kColour, "byte "},       // 7
    {24, 3, 2, kColour, "float "},     // 8
    {3, 3, 4, kColour, "byte "},       // 9
    {24, 3, 2, kAxes, "vect "},        // 10
    {32, 4, 2, kAxes, "vect "},        // 11
    {1, 1, 0, kNone, "string "},       // 12
    {6, 3, 3, kAxes, "word "},         // 13
    {8, 4, 3, kAxes, "word "},         // 14
    {12, 3, 1, kAxes, "int3 "},        // 15
    {16, 4, 1, kAxes, "int4 "},        // 16
    {1, 1, 4, kNone, "bool "},         // 17
    {0, 0, 0, kNone, "object "},       // 18
    {48, 6, 2, kNone, "axis "},        // 19
    {96, 12, 2, kNone, "coordsys "},   // 20
    {4, 0, 0, kFail, nullptr},         // 21
    {0, 0, 0, kFail, "object "},       // 22
    {128, 16, 2, kNumber, "matrix "},  // 23
    {0, 0, 0, kFail, nullptr},         // 24
    {16, 0, 0, kFail, nullptr},        // 25
    {8, 1, 26, kFail, "size_t "},      // 26
};
static_assert(sizeof kTypes / sizeof kTypes[0] == 27);

const Type &q7ty_type(uint32_t tid) { return kTypes[tid < 27 ? tid : 0]; }

}  // namespace

int32_t Q7SizeofType(uint32_t tid) { return q7ty_type(tid).size; }

int32_t Q7SubChannelCountOfType(uint32_t tid) { return q7ty_type(tid).channels; }

uint32_t Q7SubTypeOf(uint32_t tid) { return q7ty_type(tid).channel_type; }

int32_t Q7AssignType(void *destination, const void *source, uint32_t tid) {
  const int32_t size = Q7SizeofType(tid);
  if (size > 0 && destination && source) std::memmove(destination, source, static_cast<size_t>(size));
  return size;
}

int32_t Q7TidToStr(char *buffer, uint32_t tid) {
  const char *word = q7ty_type(tid).word;
  if (buffer) std::strcat(buffer, word ? word : "??? ");
  return word != nullptr;
}

int32_t Q7SubTidToStr(char *buffer, uint32_t tid, int32_t channel) {
  if (channel == -1) return 1;
  const char *names = "";
  switch (q7ty_type(tid).names) {
    case kFail:
      if (buffer) std::strcat(buffer, "??? ");
      return 0;
    case kNumber:
      if (buffer) std::sprintf(buffer, "%d", channel);
      return 1;
    case kColour: names = "rgba"; break;
    case kAxes: names = "xyzw"; break;
    case kNone: break;
  }
  if (buffer && *names && channel >= 0 && channel <= 3) std::strncat(buffer, names + channel, 1);
  return 1;
}
