// placer: the placer's data and records, which its layout and its splitters share.
#ifndef Q7_UI_PLACER_HPP
#define Q7_UI_PLACER_HPP

#include "ui/manager.hpp"
#include "ui/q7placer.h"

namespace q7 {

struct PlaceRecord {
  Q7Node node;
  Q7Object *slave;                           // 24500: referenced; may be null
  int32_t abs_width, abs_height;             // 25502, 25503; the slave's minimum when not given
  int32_t min_width, min_height;             // the slave's 41505, 41506 at the last computation
  int32_t abs_x, abs_y;                      // 25500, 25501: from the inner corner; -1: not given
  double rel_width, rel_height;              // fraction of the inner rectangle; negative: not used
  double rel_x, rel_y;                       //
  int32_t has_abs_width, has_abs_height;     // 25502, 25503 were given
  int32_t is_splitter;                       // 25512
  PlaceRecord *left, *right, *top, *bottom;  // a slave's splitters, a splitter's slaves
  uint32_t flags;                            // kSized
  // The way back when the slave is deleted under our hands.
  struct Placer *placer;
  Weak link;
};

constexpr uint32_t kSized = 1;  // in the current size computation

struct Placer {
  Q7List slaves;                          // PlaceRecords in order of insertion
  int32_t hidden;                         // 24502
  int32_t natural_width, natural_height;  // 41505, 41506: computed by every get
  int32_t keep_size;                      // 24503
  int32_t kept_width, kept_height;
  int32_t x, y, width, height;       // 41501 to 41504
  Q7Object *frame;                   // 24501: referenced, or null
  int32_t left, top, right, bottom;  // room that the frame takes
  int32_t splitters_shown;           // 25517
  int32_t laid_out;                  // once: growing is avoided from then on
  // Behind what clients may look at (25518).
  uint32_t busy;   // Busy
  int32_t linked;  // a splitter was ever added: records may lead to each other
  Weak frame_link;
};

// "Splitter Size" of the process.
extern int32_t splitter_size;

// The integer part, kept within 32 bits: fractions come from clients, and may be anything.
inline int32_t to_int(double value) {
  if (!(value > -2147483648.0)) return value != value ? 0 : INT32_MIN;
  return value >= 2147483647.0 ? INT32_MAX : static_cast<int32_t>(value);
}
inline int32_t round_up_half(double value) { return to_int(value + 0.5); }

// q7placer_split.cpp
void link_neighbours(Placer &p, PlaceRecord &splitter, Q7TagItem *tags);
void unlink_neighbours(Placer &p, const PlaceRecord &record);  // before it leaves the list
void rescale_width(const Placer &p, PlaceRecord &record);
void rescale_height(const Placer &p, PlaceRecord &record);
uint64_t splitter_dragged(Placer &p, Q7Object *self, uint64_t code, Q7Object *splitter);

}  // namespace q7

#endif
