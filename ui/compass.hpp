// compass: the geometry of the compass, without objects.
#ifndef Q7_UI_COMPASS_HPP
#define Q7_UI_COMPASS_HPP

#include <algorithm>
#include <cstdint>

#include "ui/q7widget.h"

namespace q7::compass {

struct Choice {
  int32_t direction;  // 0 N to 7 NW, clockwise; -1 in the dead zone
  int32_t ring;       // -1 in the dead zone
  bool operator==(const Choice &) const = default;
};

// The square root, rounded down.
inline int64_t root(int64_t square) {
  int64_t low = 0;
  int64_t high = 3037000499;
  while (low < high) {
    const int64_t middle = (low + high + 1) / 2;
    if (middle * middle <= square) {
      low = middle;
    } else {
      high = middle - 1;
    }
  }
  return low;
}

// What a needle (dx, dy) off the centre chooses, y downwards. A sector ends where the smaller offset is tan(22.5 deg) =
// sqrt(2) - 1 times the larger one, that is where (|dx| + |dy|)^2 = 2 max^2.
inline Choice choose(int32_t dx, int32_t dy, int32_t radius, int32_t dead_radius, int32_t rings) {
  const int64_t x = dx < 0 ? -static_cast<int64_t>(dx) : dx;
  const int64_t y = dy < 0 ? -static_cast<int64_t>(dy) : dy;
  const int64_t square = x * x + y * y;
  if (square == 0 || (dead_radius > 0 && square < static_cast<int64_t>(dead_radius) * dead_radius)) return {-1, -1};
  Choice choice;
  const int64_t sum = (x + y) * (x + y);
  if (sum < 2 * x * x) {
    choice.direction = dx > 0 ? 2 : 6;
  } else if (sum < 2 * y * y) {
    choice.direction = dy < 0 ? 0 : 4;
  } else {
    choice.direction = dx > 0 ? (dy < 0 ? 1 : 3) : (dy < 0 ? 7 : 5);
  }
  // Half up: the distance is at least low + 1/2 when its square exceeds low (low + 1).
  const int64_t low = root(square);
  const int64_t distance = square > low * (low + 1) ? low + 1 : low;
  // Without a distance between the rings everything lies beyond the last one.
  const int64_t last = static_cast<int64_t>(rings) - 1;
  choice.ring = static_cast<int32_t>(radius > 0 ? std::min((distance - dead_radius) / radius, last) : last);
  return choice;
}

inline int16_t coordinate(int64_t value) { return static_cast<int16_t>(std::clamp<int64_t>(value, -32768, 32767)); }
inline Q7Point point(int64_t x, int64_t y) { return {coordinate(x), coordinate(y)}; }

// The point of a direction at radius r about (x, y).
inline Q7Point direction_point(int64_t x, int64_t y, int64_t r, int direction) {
  const int64_t d = 3 * r / 4;
  switch (direction) {
    case 0: return point(x, y - r);
    case 1: return point(x + r, y - d);
    case 2: return point(x + r, y);
    case 3: return point(x + r, y + d);
    case 4: return point(x, y + r);
    case 5: return point(x - r, y + d);
    case 6: return point(x - r, y);
    default: return point(x - r, y - d);
  }
}

}  // namespace q7::compass

#endif
