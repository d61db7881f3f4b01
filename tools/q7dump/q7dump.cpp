// q7dump: shows what is in a chunked file or an object stream: the tree of chunks with their offsets and sizes, and the
// header of every object stream: class chain, versions, name. Reads through the library's file class. Trusts nothing: a
// size that does not fit where it stands ends the walk with a message and exit status 1.
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "app/q7app.h"
#include "core/q7objects.h"
#include "io/q7file.h"

namespace {

constexpr int kLongestChain = 64;
constexpr int kLongestName = 200;  // with its zero

// The file as ranges of bytes; nothing is kept.
class Input {
 public:
  explicit Input(const char *name) {
    file_ = Q7ObjectCreate(Q7C_FILE, Q7A_FILE_NAME, reinterpret_cast<uint64_t>(name), Q7A_FILE_MODE,
                           reinterpret_cast<uint64_t>("rb"), 0);
    if (!file_) return;
    seek(0, SEEK_END);
    const auto end = static_cast<int64_t>(file_->dispatch(file_->cl, file_, Q7M_FILE_TELL, 0, 0, nullptr));
    size_ = end < 0 ? 0 : static_cast<uint64_t>(end);
  }
  ~Input() {
    if (file_) Q7ObjectDelete(file_);
  }
  Input(const Input &) = delete;
  Input &operator=(const Input &) = delete;
  explicit operator bool() const { return file_ != nullptr; }
  uint64_t size() const { return size_; }
  bool read(uint64_t offset, void *to, uint64_t length) {
    if (offset > size_ || length > size_ - offset || !seek(offset, SEEK_SET)) return false;
    return Q7SendMsg(file_, Q7M_FILE_READ, Q7A_FILE_BUFFER, reinterpret_cast<uint64_t>(to), Q7A_FILE_LENGTH, length,
                     0) != 0;
  }

 private:
  bool seek(uint64_t offset, int origin) {
    return Q7SendMsg(file_, Q7M_FILE_SEEK, Q7A_FILE_OFFSET, offset, Q7A_FILE_ORIGIN, static_cast<uint64_t>(origin),
                     0) == 0;
  }
  Q7Object *file_ = nullptr;
  uint64_t size_ = 0;
};

struct Damage {
  std::string text;
};

struct Chunk {
  std::string id;
  uint64_t offset;    // of the id
  uint64_t contents;  // of the first byte of the contents
  uint64_t end;       // behind the contents
};

struct ClassVersion {
  uint32_t id;
  uint16_t version;
};
struct ObjectHeader {
  uint32_t id;
  std::vector<ClassVersion> chain;
  std::string name;
  uint64_t offset;
  uint64_t data;  // where the object's own data begin
};

uint64_t big_endian(const uint8_t *bytes, int size) {
  uint64_t value = 0;
  for (int i = 0; i < size; ++i) value = value << 8 | bytes[i];
  return value;
}

bool printable(const char *id) {
  for (int i = 0; i < 4; ++i) {
    if (!std::isprint(static_cast<unsigned char>(id[i]))) return false;
  }
  return true;
}

// The chunk header at an offset; none when there is no room or no plausible id. The end may lie beyond the limit.
std::optional<Chunk> read_chunk(Input &in, uint64_t offset, uint64_t limit, int width) {
  char id[4];
  uint8_t size[8];
  const uint64_t header = 4 + static_cast<uint64_t>(width);
  if (limit < header || offset > limit - header) return std::nullopt;
  if (!in.read(offset, id, 4) || !printable(id) || !in.read(offset + 4, size, static_cast<uint64_t>(width)))
    return std::nullopt;
  const uint64_t length = big_endian(size, width);
  const uint64_t contents = offset + header;
  const uint64_t end = length > UINT64_MAX - contents ? UINT64_MAX : contents + length;
  return Chunk{std::string(id, 4), offset, contents, end};
}

// Whether a range is a row of chunks, one behind the other up to its end.
bool holds_chunks(Input &in, uint64_t from, uint64_t to, int width) {
  if (from == to) return false;
  while (from < to) {
    const std::optional<Chunk> chunk = read_chunk(in, from, to, width);
    if (!chunk || chunk->end > to) return false;
    from = chunk->end;
  }
  return true;
}

// Reads an object stream's header in either byte order.
class HeaderReader {
 public:
  HeaderReader(Input &in, uint64_t from, uint64_t to, bool swapped) : in_(in), at_(from), to_(to), swapped_(swapped) {}
  std::optional<ObjectHeader> read() {
    ObjectHeader header = {};
    header.offset = at_;
    if (!number(header.id)) return std::nullopt;
    do {
      ClassVersion entry = {};
      if (!number(entry.id) || !number(entry.version)) return std::nullopt;
      header.chain.push_back(entry);
    } while (header.chain.back().id != 0 && header.chain.size() < kLongestChain);
    uint16_t length = 0;
    char name[kLongestName];
    if (header.chain.front().id != header.id || header.chain.back().id != 0 || !number(length)) return std::nullopt;
    if (length < 1 || length > kLongestName || !bytes(name, length) ||
        std::memchr(name, 0, length) != name + length - 1) {
      return std::nullopt;
    }
    header.name = name;
    header.data = at_;
    return header;
  }

 private:
  bool bytes(void *to, uint64_t n) {
    if (at_ > to_ || n > to_ - at_ || !in_.read(at_, to, n)) return false;
    at_ += n;
    return true;
  }
  template <class T>
  bool number(T &value) {
    uint8_t raw[sizeof(T)];
    if (!bytes(raw, sizeof raw)) return false;
    if (swapped_) {
      value = static_cast<T>(big_endian(raw, sizeof raw));
    } else {
      std::memcpy(&value, raw, sizeof raw);
    }
    return true;
  }
  Input &in_;
  uint64_t at_;
  uint64_t to_;
  bool swapped_;
};

std::optional<ObjectHeader> find_object(Input &in, uint64_t from, uint64_t to) {
  for (const bool swapped : {true, false}) {
    if (auto header = HeaderReader(in, from, to, swapped).read()) return header;
  }
  return std::nullopt;
}

const char *class_name(uint32_t id) {
  uint32_t found = 0;
  const Q7Class *cl = Q7ClassNext(id, &found);
  return cl && found == id ? cl->header.name : nullptr;
}

// ---- Output ----

std::string escaped(const std::string &text) {
  std::string out = "\"";
  for (const char c : text) {
    char code[8];
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7F) {
      std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned char>(c));
      out += code;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

class Printer {
 public:
  Printer(FILE *out, bool json, bool colours) : out_(out), json_(json), colours_(colours) {}
  ~Printer() = default;

  void begin(const std::string &name, uint64_t size, const char *kind) {
    if (json_) {
      std::fprintf(out_, "{\"file\":%s,\"size\":%llu,\"kind\":\"%s\"", escaped(name).c_str(), ull(size), kind);
    } else {
      std::fprintf(out_, "%s: %s, %llu bytes\n", name.c_str(), kind, ull(size));
    }
  }
  void end(const std::string &damage) {
    if (!json_) return;
    if (!damage.empty()) std::fprintf(out_, ",\"damage\":%s", escaped(damage).c_str());
    std::fprintf(out_, "}\n");
  }
  void open_list() {
    if (json_) std::fprintf(out_, ",\"chunks\":[");
    first_ = true;
    ++depth_;
  }
  void close_list() {
    if (json_) std::fprintf(out_, "]");
    first_ = false;
    --depth_;
  }
  void chunk(const Chunk &chunk, const std::string &form) {
    const uint64_t size = chunk.end - chunk.contents;
    if (json_) {
      std::fprintf(out_, "%s{\"id\":%s,\"offset\":%llu,\"size\":%llu", first_ ? "" : ",", escaped(chunk.id).c_str(),
                   ull(chunk.offset), ull(size));
      if (!form.empty()) std::fprintf(out_, ",\"form\":%s", escaped(form).c_str());
      return;
    }
    std::fprintf(out_, "%10llu  %*s%s%s%s  %llu", ull(chunk.offset), indent(), "", colour("\033[1;36m"),
                 chunk.id.c_str(), colour("\033[0m"), ull(size));
    if (!form.empty()) std::fprintf(out_, "  %s%s%s", colour("\033[33m"), form.c_str(), colour("\033[0m"));
    std::fprintf(out_, "\n");
  }
  void chunk_end() {
    if (json_) std::fprintf(out_, "}");
    first_ = false;
  }
  void object(const ObjectHeader &object) {
    if (json_) {
      std::fprintf(out_, ",\"object\":{\"offset\":%llu,\"class\":%u,\"name\":%s,\"data\":%llu,\"chain\":[",
                   ull(object.offset), object.id, escaped(object.name).c_str(), ull(object.data));
      for (size_t i = 0; i < object.chain.size(); ++i) {
        std::fprintf(out_, "%s{\"class\":%u,\"version\":%u}", i ? "," : "", object.chain[i].id,
                     object.chain[i].version);
      }
      std::fprintf(out_, "]}");
      return;
    }
    std::fprintf(out_, "%10llu  %*sobject %s%s%s, data at %llu:", ull(object.offset), indent(), "", colour("\033[32m"),
                 escaped(object.name).c_str(), colour("\033[0m"), ull(object.data));
    for (const ClassVersion &entry : object.chain) {
      const char *name = class_name(entry.id);
      std::fprintf(out_, " %u%s%s%s v%u", entry.id, name ? " (" : "", name ? name : "", name ? ")" : "", entry.version);
    }
    std::fprintf(out_, "\n");
  }

 private:
  static unsigned long long ull(uint64_t n) { return n; }
  int indent() const { return 2 * std::min(depth_, 40); }
  const char *colour(const char *code) const { return colours_ ? code : ""; }
  FILE *out_;
  bool json_;
  bool colours_;
  bool first_ = true;
  int depth_ = 0;
};

std::string describe(const Chunk &chunk) {
  return "chunk \"" + chunk.id + "\" at offset " + std::to_string(chunk.offset);
}

// Walks the chunks of a range and those within them. A stack instead of recursion: files may nest as deep as they like.
void dump_chunks(Input &in, Printer &out, uint64_t from, uint64_t to, int width) {
  std::vector<uint64_t> ends = {to};
  uint64_t at = from;
  out.open_list();
  try {
    while (!ends.empty()) {
      const uint64_t limit = ends.back();
      const std::optional<Chunk> chunk = at < limit ? read_chunk(in, at, limit, width) : std::nullopt;
      if (!chunk) {
        if (at < limit)
          throw Damage{std::to_string(limit - at) + " bytes at offset " + std::to_string(at) + " are no chunk"};
        at = limit;
        out.close_list();
        ends.pop_back();
        if (!ends.empty()) out.chunk_end();
        continue;
      }
      if (chunk->end > limit) {
        throw Damage{describe(*chunk) + " ends " + std::to_string(chunk->end - limit) +
                     " bytes behind what it lies in"};
      }
      out.chunk(*chunk, "");
      if (holds_chunks(in, chunk->contents, chunk->end, width)) {
        out.open_list();
        ends.push_back(chunk->end);
        at = chunk->contents;
        continue;
      }
      if (const auto object = find_object(in, chunk->contents, chunk->end)) out.object(*object);
      out.chunk_end();
      at = chunk->end;
    }
  } catch (const Damage &) {
    // The output stays well-formed up to the damage.
    for (; !ends.empty(); ends.pop_back()) {
      out.close_list();
      if (ends.size() > 1) out.chunk_end();
    }
    throw;
  }
}

// A chunked file: its one chunk, the form type, the chunks within.
void dump_iff(Input &in, Printer &out, int width) {
  const std::optional<Chunk> top = read_chunk(in, 0, in.size(), width);
  if (!top) throw Damage{"the header of the file's chunk is cut"};
  char form[4] = {};
  const bool has_form = top->end - top->contents >= 4 && in.read(top->contents, form, 4);
  out.open_list();
  out.chunk(*top, has_form && printable(form) ? std::string(form, 4) : "");
  std::string damage;
  if (top->end > in.size())
    damage = describe(*top) + " ends " + std::to_string(top->end - in.size()) + " bytes behind the file";
  try {
    const uint64_t end = std::min(top->end, in.size());
    dump_chunks(in, out, std::min(top->contents + (has_form ? 4 : 0), end), end, width);
  } catch (const Damage &found) {
    damage = found.text;
  }
  out.chunk_end();
  out.close_list();
  if (damage.empty() && top->end < in.size()) {
    damage = std::to_string(in.size() - top->end) + " bytes at offset " + std::to_string(top->end) +
             " lie behind the file's chunk";
  }
  if (!damage.empty()) throw Damage{damage};
}

// Exit status of one file.
int dump(const std::string &name, FILE *to, bool json, bool colours) {
  Input in(name.c_str());
  if (!in) {
    std::fprintf(stderr, "q7dump: %s: cannot be opened\n", name.c_str());
    return 1;
  }
  Printer out(to, json, colours);
  char id[4] = {};
  in.read(0, id, 4);
  const bool narrow = std::memcmp(id, "FORM", 4) == 0;
  const bool wide = std::memcmp(id, "Q7D8", 4) == 0;
  std::string damage;
  if (narrow || wide) {
    out.begin(name, in.size(), "chunked file");
    try {
      dump_iff(in, out, wide ? 8 : 4);
    } catch (const Damage &found) {
      damage = found.text;
    }
  } else if (const auto object = find_object(in, 0, in.size())) {
    out.begin(name, in.size(), "object stream");
    out.object(*object);
  } else {
    out.begin(name, in.size(), "unknown");
    damage = "neither a chunked file nor an object stream";
  }
  out.end(damage);
  std::fflush(to);
  if (damage.empty()) return 0;
  std::fprintf(stderr, "q7dump: %s: %s\n", name.c_str(), damage.c_str());
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App options("Shows the chunks of chunked files and the headers of object streams, with offsets.");
  std::vector<std::string> files;
  bool json = false;
  options.add_option("file", files, "Files to show")->required();
  options.add_flag("--json", json, "One JSON object a file and line instead of a tree");
  options.footer("Exit status: 0 when every file was whole, 1 when one was damaged, unknown or could not be read.");
  CLI11_PARSE(options, argc, argv);

  // The library echoes its log to standard output; what this program says has it for itself.
  const bool colours = !json && isatty(STDOUT_FILENO);
  FILE *out = fdopen(dup(STDOUT_FILENO), "w");
  if (!out || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return 1;
  int32_t count = argc;
  Q7App *app =
      Q7AppCreate(&count, argv, Q7APP_Interactive, uint64_t{0}, Q7APP_Name, reinterpret_cast<uint64_t>("q7dump"), 0);
  if (!app) return 1;
  int status = 0;
  for (const std::string &file : files) status |= dump(file, out, json, colours);
  if (std::fclose(out) != 0) status = 1;
  Q7AppDelete(app);
  return status;
}
