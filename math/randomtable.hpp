// randomtable: the random table as the room's own code sees it, and the numbers of the noise lattice.
#ifndef Q7_MATH_RANDOMTABLE_HPP
#define Q7_MATH_RANDOMTABLE_HPP

#include <stdint.h>

// The table with its first entries once more behind its end: wide loads may start at any index. rndtab is the same
// memory.
struct Q7RandomTable {
  uint16_t value[32768];
  uint16_t wrapped[8];
};
extern "C" __attribute__((visibility("hidden"))) const Q7RandomTable q7_random_table;

// T[T[i]] for every i, padded alike: where whole rows of nested look-ups are needed it saves two loads out of three.
extern "C" __attribute__((visibility("hidden"))) const Q7RandomTable q7_random_table_twice;

// The table as doubles, for paths whose registers take four or eight of them: what a lattice row is interpolated from
// comes out of memory ready for arithmetic, which halves the work of a row. A quarter of a megabyte, of which only the
// parts that are used come into the caches.
struct Q7RandomDoubles {
  double value[32768];
  double wrapped[8];
};
extern "C" __attribute__((visibility("hidden"))) const Q7RandomDoubles q7_random_doubles;

namespace q7 {

constexpr double lattice_scale = 25;
// Added to lattice coordinates before hashing, so that the families give unrelated patterns.
enum : uint32_t { offset_linear = 1000000, offset_cubic = 100000000, offset_point = 200000000 };
constexpr double noise_range = 32767;

}  // namespace q7

#endif
