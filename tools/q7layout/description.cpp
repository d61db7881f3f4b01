// description: reads the text line by line; nested items are kept on a list of open ones, so that no text is too deep
// for the stack.
#include "tools/q7layout/description.hpp"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>

#include "ui/q7packer.h"

namespace q7layout {

namespace {

constexpr int32_t kLargest = 16777215;
constexpr size_t kDeepest = 1000;  // items within one another

[[noreturn]] void fail(int line, const std::string &text) { throw Mistake{line, text}; }

std::string quoted(const std::string &text) { return "\"" + text + "\""; }

// Words of a line; "{" and "}" are words of their own wherever they stand, "#" begins a comment.
std::vector<std::string> words_of(const std::string &line) {
  std::vector<std::string> words;
  std::string word;
  const auto end = [&] {
    if (!word.empty()) words.push_back(word);
    word.clear();
  };
  for (const char c : line) {
    if (c == '#') break;
    if (c == ' ' || c == '\t' || c == '\r') {
      end();
    } else if (c == '{' || c == '}') {
      end();
      words.emplace_back(1, c);
    } else {
      word += c;
    }
  }
  end();
  return words;
}

std::optional<int32_t> read_number(const std::string &text) {
  int32_t value = 0;
  const char *end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || value < -kLargest || value > kLargest) return std::nullopt;
  return value;
}

std::optional<std::vector<int32_t>> read_numbers(const std::string &text, char separator) {
  std::vector<int32_t> numbers;
  for (size_t from = 0;;) {
    const size_t to = text.find(separator, from);
    const auto number = read_number(text.substr(from, to == std::string::npos ? to : to - from));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    if (to == std::string::npos) return numbers;
    from = to + 1;
  }
}

std::optional<Length> read_length(const std::string &text) {
  Length length;
  length.given = true;
  if (text.empty() || text.back() != '%') {
    const auto pixels = read_number(text);
    if (!pixels) return std::nullopt;
    length.pixels = *pixels;
    return length;
  }
  length.relative = true;
  const char *end = text.data() + text.size() - 1;
  const auto [stop, error] = std::from_chars(text.data(), end, length.fraction, std::chars_format::fixed);
  if (error != std::errc() || stop != end || !(length.fraction >= 0 && length.fraction <= 10000)) return std::nullopt;
  length.fraction /= 100;
  return length;
}

const std::map<std::string, Kind> kinds = {{"widget", Kind::kWidget},
                                           {"packer", Kind::kPacker},
                                           {"placer", Kind::kPlacer},
                                           {"rowcol", Kind::kRowCol},
                                           {"splitter", Kind::kSplitter}};
const std::map<std::string, int32_t> anchors = {{"center", Q7ANCHOR_CENTER},
                                                {"top", Q7ANCHOR_TOP},
                                                {"top-right", Q7ANCHOR_TOP_RIGHT},
                                                {"right", Q7ANCHOR_RIGHT},
                                                {"bottom-right", Q7ANCHOR_BOTTOM_RIGHT},
                                                {"bottom", Q7ANCHOR_BOTTOM},
                                                {"bottom-left", Q7ANCHOR_BOTTOM_LEFT},
                                                {"left", Q7ANCHOR_LEFT},
                                                {"top-left", Q7ANCHOR_TOP_LEFT},
                                                {"aligned", Q7ANCHOR_ALIGNED}};

// Where an option may stand.
struct Where {
  std::set<Kind> kinds;    // of the item itself; empty: any
  std::set<Kind> parents;  // kinds it must lie in; empty: anywhere
};
const std::set<Kind> kPackers = {Kind::kPacker, Kind::kRowCol};
const std::map<std::string, Where> options = {
    {"min", {{Kind::kWidget, Kind::kSplitter}, {}}},
    {"client", {{Kind::kWidget}, {}}},
    {"stretch", {{Kind::kWidget}, {}}},
    {"direction", {kPackers, {}}},
    {"per-row", {{Kind::kRowCol}, {}}},
    {"limit", {{Kind::kRowCol}, {}}},
    {"max", {kPackers, {}}},
    {"hidden", {{Kind::kPacker, Kind::kRowCol, Kind::kPlacer}, {}}},
    {"keep", {{Kind::kPacker, Kind::kRowCol, Kind::kPlacer}, {}}},
    {"frame", {{Kind::kPacker, Kind::kRowCol, Kind::kPlacer}, {}}},
    {"expand", {{}, kPackers}},
    {"fill", {{}, kPackers}},
    {"anchor", {{}, kPackers}},
    {"pad", {{}, kPackers}},
    {"inner", {{}, kPackers}},
    {"x", {{Kind::kWidget, Kind::kPacker, Kind::kPlacer, Kind::kRowCol}, {Kind::kPlacer}}},
    {"y", {{Kind::kWidget, Kind::kPacker, Kind::kPlacer, Kind::kRowCol}, {Kind::kPlacer}}},
    {"width", {{Kind::kWidget, Kind::kPacker, Kind::kPlacer, Kind::kRowCol}, {Kind::kPlacer}}},
    {"height", {{Kind::kWidget, Kind::kPacker, Kind::kPlacer, Kind::kRowCol}, {Kind::kPlacer}}},
    {"left", {{Kind::kSplitter}, {Kind::kPlacer}}},
    {"right", {{Kind::kSplitter}, {Kind::kPlacer}}},
    {"top", {{Kind::kSplitter}, {Kind::kPlacer}}},
    {"bottom", {{Kind::kSplitter}, {Kind::kPlacer}}},
};

class Reader {
 public:
  Description read(const std::string &text) {
    int line = 0;
    for (size_t from = 0; from <= text.size();) {
      const size_t to = std::min(text.find('\n', from), text.size());
      ++line;
      read_line(line, words_of(text.substr(from, to - from)));
      from = to + 1;
    }
    if (!open_.empty()) fail(open_.back()->line, "\"{\" of " + quoted(open_.back()->name) + " has no \"}\"");
    if (result_.items.empty()) fail(line, "nothing is described");
    return std::move(result_);
  }

 private:
  void read_line(int line, const std::vector<std::string> &words) {
    for (size_t at = 0; at < words.size();) {
      if (words[at] == "}") {
        if (open_.empty()) fail(line, "\"}\" without \"{\"");
        open_.pop_back();
        ++at;
        continue;
      }
      const size_t end =
          static_cast<size_t>(std::find_if(words.begin() + static_cast<ptrdiff_t>(at), words.end(),
                                           [](const std::string &word) { return word == "{" || word == "}"; }) -
                              words.begin());
      const bool opens = end < words.size() && words[end] == "{";
      read_statement(line, {words.begin() + static_cast<ptrdiff_t>(at), words.begin() + static_cast<ptrdiff_t>(end)},
                     opens);
      at = opens ? end + 1 : end;
    }
  }

  void read_statement(int line, const std::vector<std::string> &words, bool opens) {
    if (words.empty()) fail(line, "\"{\" without a packer, placer or rowcol in front of it");
    if (words[0] == "size") {
      read_picture_size(line, words, opens);
      return;
    }
    const auto kind = kinds.find(words[0]);
    if (kind == kinds.end()) fail(line, quoted(words[0]) + " is no packer, placer, rowcol, widget or splitter");
    if (words.size() < 2 || words[1].find('=') != std::string::npos) fail(line, words[0] + " has no name");
    const std::string &name = words[1];
    if (!names_.insert(name).second) fail(line, "the name " + quoted(name) + " is taken");
    Item *parent = open_.empty() ? nullptr : open_.back();
    if (!parent && !result_.items.empty())
      fail(line, quoted(name) + " lies outside of " + quoted(result_.items[0].name));
    if (kind->second == Kind::kSplitter && (!parent || parent->kind != Kind::kPlacer))
      fail(line, "splitters lie in placers");
    const bool leaf = kind->second == Kind::kWidget || kind->second == Kind::kSplitter;
    if (opens && leaf) fail(line, words[0] + " " + quoted(name) + " holds nothing");
    if (!parent && leaf) fail(line, "the outermost one is a packer, placer or rowcol");
    if (open_.size() >= kDeepest) fail(line, "nested too deep");
    Item &item = result_.items.emplace_back();
    item.kind = kind->second;
    item.name = name;
    item.line = line;
    item.parent = parent;
    if (parent) parent->items.push_back(&item);
    for (size_t i = 2; i < words.size(); ++i) read_option(item, words[i]);
    if (item.kind == Kind::kSplitter && (!item.before || !item.behind))
      fail(line, "splitter " + quoted(name) + " needs left and right, or top and bottom");
    if (opens) open_.push_back(&item);
  }

  void read_picture_size(int line, const std::vector<std::string> &words, bool opens) {
    const auto size = words.size() == 2 ? read_size(words[1]) : std::nullopt;
    if (!size || opens) fail(line, "size needs a width and a height, as in \"size 320x200\"");
    if (result_.size || !result_.items.empty()) fail(line, "size stands once, in front of everything");
    result_.size = size;
  }

  void read_option(Item &item, const std::string &word) {
    const size_t sign = word.find('=');
    const std::string key = word.substr(0, sign);
    const std::optional<std::string> value =
        sign == std::string::npos ? std::nullopt : std::optional(word.substr(sign + 1));
    const auto option = options.find(key);
    if (option == options.end()) fail(item.line, "unknown option " + quoted(key));
    const Where &where = option->second;
    if (!where.kinds.empty() && !where.kinds.contains(item.kind))
      fail(item.line, std::string(kind_name(item.kind)) + " has no option " + quoted(key));
    if (!where.parents.empty() && (!item.parent || !where.parents.contains(item.parent->kind)))
      fail(item.line,
           quoted(key) + (where.parents.contains(Kind::kPlacer) ? " is for what lies in a placer"
                                                                : " is for what lies in a packer or rowcol"));
    if (key == "hidden" || key == "keep" || key == "expand") {
      if (value) fail(item.line, quoted(key) + " takes no value");
      if (key == "hidden") item.hidden = true;
      if (key == "keep") item.keep = true;
      if (key == "expand") item.flags |= Q7PACK_EXPAND;
      return;
    }
    if (!value || !read_value(item, key, *value)) fail(item.line, wanted(key, value.value_or("")));
  }

  // False when the value is none of the option's.
  bool read_value(Item &item, const std::string &key, const std::string &value) {
    const auto into = [&](auto &place, const auto &read) {
      if (read) place = *read;
      return read.has_value();
    };
    if (key == "min") return into(item.min, read_size(value));
    if (key == "client") return into(item.client, read_pair(value));
    if (key == "max") return into(item.max, read_size(value));
    if (key == "limit") return into(item.limit, read_size(value));
    if (key == "per-row") return into(item.per_row, read_number(value));
    if (key == "pad") return into(item.pad, read_pair(value));
    if (key == "inner") return into(item.inner, read_pair(value));
    if (key == "x") return into(item.x, read_length(value));
    if (key == "y") return into(item.y, read_length(value));
    if (key == "width") return into(item.width, read_length(value));
    if (key == "height") return into(item.height, read_length(value));
    if (key == "direction") {
      item.direction = value == "across";
      return value == "across" || value == "down";
    }
    if (key == "stretch") {
      item.stretch_down = value == "both" || value == "down";
      item.stretch_across = value == "both" || value == "across";
      return item.stretch_down || item.stretch_across || value == "none";
    }
    if (key == "fill") {
      item.flags |= value == "x" ? Q7PACK_FILL_X : value == "y" ? Q7PACK_FILL_Y : Q7PACK_FILL_X | Q7PACK_FILL_Y;
      return value == "x" || value == "y" || value == "both";
    }
    if (key == "anchor") {
      const auto named = anchors.find(value);
      return into(item.anchor, named != anchors.end() ? std::optional(named->second) : read_number(value));
    }
    if (key == "frame") {
      auto insets = read_numbers(value, ',');
      if (insets && insets->size() == 1) insets->resize(4, insets->front());
      if (!insets || insets->size() != 4) return false;
      item.frame = insets;
      return true;
    }
    return read_neighbour(item, key, value);
  }

  static bool read_neighbour(Item &item, const std::string &key, const std::string &value) {
    const bool vertical = key == "top" || key == "bottom";
    if ((item.before || item.behind) && vertical != item.vertical)
      fail(item.line, "a splitter lies between left and right or between top and bottom");
    item.vertical = vertical;
    for (Item *other : item.parent->items) {
      if (other->name != value || other == &item || other->kind == Kind::kSplitter) continue;
      (key == "left" || key == "top" ? item.before : item.behind) = other;
      return true;
    }
    fail(item.line, quoted(value) + " does not lie in " + quoted(item.parent->name) + " in front of the splitter");
  }

  static std::string wanted(const std::string &key, const std::string &value) {
    static const std::map<std::string, std::string> forms = {
        {"min", "a size, as in min=80x24"},
        {"max", "a size, as in max=300x200"},
        {"limit", "a size, as in limit=120x80"},
        {"client", "two numbers, as in client=40,2"},
        {"pad", "one number or two, as in pad=4,2"},
        {"inner", "one number or two, as in inner=4,2"},
        {"per-row", "a number, as in per-row=3"},
        {"frame", "one number or four (left, top, right, bottom), as in frame=2,14,2,2"},
        {"direction", "down or across"},
        {"stretch", "both, down, across or none"},
        {"fill", "x, y or both"},
        {"anchor", "a side or a corner, as in anchor=top-left, or center, aligned or a number"},
    };
    const auto form = forms.find(key);
    return quoted(key) + " needs " + (form != forms.end() ? form->second : "pixels or percent, as in " + key + "=50%") +
           (value.empty() ? "" : ", not " + quoted(value));
  }

  Description result_;
  std::vector<Item *> open_;
  std::set<std::string> names_;
};

}  // namespace

const char *kind_name(Kind kind) {
  for (const auto &[name, k] : kinds) {
    if (k == kind) return name.c_str();
  }
  return "";
}

Item *Description::find(const std::string &name) {
  for (Item &item : items) {
    if (item.name == name) return &item;
  }
  return nullptr;
}

std::optional<Pair> read_size(const std::string &text) {
  const auto numbers = read_numbers(text, 'x');
  if (!numbers || numbers->size() != 2 || (*numbers)[0] < 0 || (*numbers)[1] < 0) return std::nullopt;
  return Pair{(*numbers)[0], (*numbers)[1]};
}

std::optional<Pair> read_pair(const std::string &text) {
  const auto numbers = read_numbers(text, ',');
  if (!numbers || numbers->size() > 2) return std::nullopt;
  return Pair{numbers->front(), numbers->back()};
}

Description read_description(const std::string &text) { return Reader().read(text); }

}  // namespace q7layout
