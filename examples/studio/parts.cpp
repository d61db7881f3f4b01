// parts: see the header.
#include "examples/studio/parts.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "examples/studio/files.hpp"
#include "examples/studio/object.hpp"
#include "examples/studio/session.hpp"
#include "io/q7file.h"
#include "io/q7iff.h"

namespace studio {

namespace {

constexpr uint32_t kLargestSide = 32768;

uint32_t id(const char (&characters)[5]) {
  uint32_t value;
  std::memcpy(&value, characters, 4);
  return value;
}

struct Head {
  uint32_t width, height, part, parts;
  uint64_t world;
};

bool write_block(Q7Object *file, const void *bytes, size_t size) {
  Q7TagItem tags[] = {{Q7A_FILE_BUFFER, word(bytes)}, {Q7A_FILE_LENGTH, size}, {Q7TAG_END, 0}};
  return send(file, Q7M_FILE_WRITE, 0, 0, tags) != 0;
}

bool write_head(Q7Object *file, const Head &head) {
  bool sound = send(file, Q7M_IFF_BEGIN_WRITE, 0, 0, slot(id("HEAD"))) != 0;
  for (uint32_t value : {head.width, head.height, head.part, head.parts}) {
    sound = sound && send(file, Q7M_FILE_WRITE32, 0, 0, slot(value));
  }
  return sound && send(file, Q7M_FILE_WRITE64, 0, 0, slot(head.world)) && send(file, Q7M_IFF_END_WRITE);
}

bool read_head(Q7Object *file, Head &head) {
  uint32_t chunk = 0;
  if (!send(file, Q7M_IFF_BEGIN_READ, 0, 0, slot(&chunk)) || chunk != id("HEAD")) return false;
  for (uint32_t *value : {&head.width, &head.height, &head.part, &head.parts}) {
    if (!send(file, Q7M_FILE_READ32, 0, 0, slot(value))) return false;
  }
  return send(file, Q7M_FILE_READ64, 0, 0, slot(&head.world)) && send(file, Q7M_IFF_END_READ) && head.width >= 1 &&
         head.width <= kLargestSide && head.height >= 1 && head.height <= kLargestSide && head.part >= 1 &&
         head.part <= head.parts && head.parts <= kLargestSide;
}

class Joiner {
 public:
  void add(const std::string &path) {
    check_input(path);
    uint32_t top = 0, form = 0;
    Owned file(Q7ObjectCreate(Q7C_IFF, Q7A_FILE_NAME, word(path.c_str()), Q7A_FILE_MODE, word("r"), Q7A_IFF_ID,
                              word(&top), Q7A_IFF_FORM, word(&form), 0));
    Head head = {};
    if (!file || form != id("PART") || !read_head(file.get(), head)) throw failure_of(path, Text::kNotATile);
    if (first_.empty()) begin(path, head);
    if (head.width != head_.width || head.height != head_.height || head.parts != head_.parts ||
        head.world != head_.world) {
      throw Failure(Text::kTileDiffers, path.c_str(), first_.c_str());
    }
    if (there_[head.part - 1]) throw Failure(Text::kTileTwice, static_cast<int>(head.part), path.c_str());
    there_[head.part - 1] = true;
    if (!read_rows(file.get(), head)) throw failure_of(path, Text::kDamaged);
  }

  Picture take() {
    const auto missing = std::find(there_.begin(), there_.end(), false);
    if (missing != there_.end()) {
      throw Failure(Text::kTileMissing, static_cast<int>(missing - there_.begin()) + 1, static_cast<int>(head_.parts));
    }
    return std::move(picture_);
  }

 private:
  void begin(const std::string &path, const Head &head) {
    first_ = path;
    head_ = head;
    there_.resize(head.parts);
    picture_.size = {static_cast<int>(head.width), static_cast<int>(head.height)};
    picture_.rows = {0, picture_.size.height};
  }

  bool read_rows(Q7Object *file, const Head &head) {
    const Rows rows = rows_of(static_cast<int>(head.part), static_cast<int>(head.parts), picture_.size.height);
    const size_t row = size_t{head.width} * 3;
    const size_t size = static_cast<size_t>(rows.end - rows.first) * row;
    const size_t end = static_cast<size_t>(rows.end) * row;
    uint32_t chunk = 0;
    if (!send(file, Q7M_IFF_BEGIN_READ, 0, 0, slot(&chunk)) || chunk != id("ROWS")) return false;
    if (size > 0) {
      // Room for rows that have arrived, so that a head alone cannot ask for any amount of memory.
      std::vector<uint8_t> bytes;
      for (size_t done = 0; done < size;) {
        const size_t piece = std::min<size_t>(size - done, 1 << 20);
        bytes.resize(done + piece);
        Q7TagItem tags[] = {{Q7A_FILE_BUFFER, word(&bytes[done])}, {Q7A_FILE_LENGTH, piece}, {Q7TAG_END, 0}};
        if (!send(file, Q7M_FILE_READ, 0, 0, tags)) return false;
        done += piece;
      }
      if (picture_.bytes.size() < end) picture_.bytes.resize(end);
      std::memcpy(&picture_.bytes[static_cast<size_t>(rows.first) * row], bytes.data(), size);
    }
    return send(file, Q7M_IFF_END_READ) != 0;
  }

  std::string first_;
  Head head_ = {};
  std::vector<bool> there_;
  Picture picture_;
};

}  // namespace

Rows rows_of(int part, int parts, int height) {
  const auto at = [=](int64_t i) { return static_cast<int>(height * i / parts); };
  return {at(part - 1), at(part)};
}

void write_part(const std::string &path, const Picture &picture, int part, int parts, uint64_t world) {
  PendingFile pending(path);
  uint32_t top = id("Q7D8"), form = id("PART");
  Owned file(Q7ObjectCreate(Q7C_IFF, Q7A_FILE_NAME, word(pending.temporary().c_str()), Q7A_FILE_MODE, word("w"),
                            Q7A_IFF_ID, word(&top), Q7A_IFF_FORM, word(&form), 0));
  if (!file) throw failure_of(path, Text::kNoMemory);
  const Head head = {static_cast<uint32_t>(picture.size.width), static_cast<uint32_t>(picture.size.height),
                     static_cast<uint32_t>(part), static_cast<uint32_t>(parts), world};
  const bool written = write_head(file.get(), head) && send(file.get(), Q7M_IFF_BEGIN_WRITE, 0, 0, slot(id("ROWS"))) &&
                       (picture.bytes.empty() || write_block(file.get(), picture.bytes.data(), picture.bytes.size())) &&
                       send(file.get(), Q7M_IFF_END_WRITE);
  const bool closed = file.reset() != 0;
  if (!written || !closed) throw Failure(Text::kCannotWrite, path.c_str(), std::strerror(EIO));
  pending.commit();
}

Picture join_parts(const std::vector<std::string> &paths) {
  Joiner joiner;
  for (const std::string &path : paths) joiner.add(path);
  return joiner.take();
}

}  // namespace studio
