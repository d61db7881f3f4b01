// pointnoise: the three nearest feature points of a position. Features farther than one lattice cell may lie outside
// the searched neighbourhood, so distances end at 1; that keeps the noise continuous.
#ifndef Q7_MATH_POINTNOISE_HPP
#define Q7_MATH_POINTNOISE_HPP

#include <cmath>

#include "math/q7vector.h"

namespace q7 {

constexpr double per_range = 1 / 32767.0;  // a table value as a place within a cell

class Nearest {
 public:
  void add(double squared) {
    if (!(squared >= squared_[2])) {  // a NaN goes in, and stays
      if (!(squared >= squared_[1])) {
        squared_[2] = squared_[1];
        if (!(squared >= squared_[0])) {
          squared_[1] = squared_[0];
          squared_[0] = squared;
        } else {
          squared_[1] = squared;
        }
      } else {
        squared_[2] = squared;
      }
    }
  }
  double first() const { return std::sqrt(squared_[0]); }
  Q7Vector all() const { return {std::sqrt(squared_[0]), std::sqrt(squared_[1]), std::sqrt(squared_[2])}; }

 private:
  double squared_[3] = {1, 1, 1};
};

}  // namespace q7

#endif
