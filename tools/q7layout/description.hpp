// description: the text that describes nested layout managers, read into a tree of items. docs/q7layout.md has the
// grammar.
#ifndef Q7_TOOLS_Q7LAYOUT_DESCRIPTION_HPP
#define Q7_TOOLS_Q7LAYOUT_DESCRIPTION_HPP

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace q7layout {

enum class Kind { kWidget, kPacker, kPlacer, kRowCol, kSplitter };

struct Pair {
  int32_t x = 0, y = 0;
};

// A place or a size in a placer: pixels, or a fraction of the inner rectangle.
struct Length {
  bool given = false;
  bool relative = false;
  int32_t pixels = 0;
  double fraction = 0;
};

struct Item {
  Kind kind = Kind::kWidget;
  std::string name;
  int line = 0;
  Item *parent = nullptr;
  std::vector<Item *> items;

  // Its own.
  Pair min, client;
  bool stretch_down = true, stretch_across = true;
  int32_t direction = 0;
  int32_t per_row = 0;
  std::optional<Pair> limit, max;
  bool hidden = false, keep = false;
  std::optional<std::vector<int32_t>> frame;  // left, top, right, bottom

  // In a packer or row-column.
  int32_t flags = 0, anchor = 0;
  Pair pad, inner;

  // In a placer.
  Length x, y, width, height;
  Item *before = nullptr, *behind = nullptr;  // a splitter's neighbours
  bool vertical = false;                      // they lie above one another
};

struct Description {
  std::deque<Item> items;  // in the order of the text; the first is the outermost one
  std::optional<Pair> size;
  Item *find(const std::string &name);
};

// What is wrong, and where.
struct Mistake {
  int line;
  std::string text;
};

const char *kind_name(Kind kind);

// A "120x80"; none when it is none.
std::optional<Pair> read_size(const std::string &text);
// A "3,-4", or one number for both.
std::optional<Pair> read_pair(const std::string &text);

// Throws a Mistake.
Description read_description(const std::string &text);

}  // namespace q7layout

#endif
