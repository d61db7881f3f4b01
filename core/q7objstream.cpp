// q7objstream: the header of object streams, written and read by the root class: class id, the chain of (class id,
// version) pairs down to the root class, the name. Whatever answers the stream methods can carry it. A reader trusts
// nothing: every length is checked before a byte of it is read.
#include <cstring>

#include "core/classdef.hpp"
#include "core/q7root.h"
#include "core/registry.hpp"
#include "core/report.hpp"
#include "core/root.hpp"

namespace {

constexpr char kModule[] = "q7root";
constexpr int kMaxChain = 64;
constexpr uint16_t kMaxName = 200;  // bytes, NUL included

// Stream methods the header needs.
enum StreamMethod : uint32_t {
  kReadBlock = 5000,
  kRead32 = 5001,
  kRead16 = 5002,
  kWrite32 = 5006,
  kWrite16 = 5007,
  kWriteText = 5047
};
constexpr uint32_t kTagLength = 5503;
constexpr uint32_t kTagBuffer = 5504;

struct Header {
  uint32_t clid;
  int pairs;
  uint32_t ids[kMaxChain];
  uint16_t versions[kMaxChain];
  char name[kMaxName];
};

template <class T>
bool q7os_write(Q7Object *stream, StreamMethod method, T value) {
  return q7::send(stream, method, 0, 0, q7::slot(value)) != 0;
}

template <class T>
bool q7os_read(Q7Object *stream, StreamMethod method, T &value) {
  value = 0;
  return q7::send(stream, method, 0, 0, q7::slot(&value)) != 0;
}

bool q7os_write_chain(const Q7Object *obj, Q7Object *stream) {
  int pairs = 0;
  for (const Q7Class *cl = obj->cl; cl; cl = cl->super) {
    if (!q7os_write(stream, kWrite32, cl->header.clid)) return false;
    if (!q7os_write(stream, kWrite16, static_cast<uint16_t>(cl->version))) return false;
    if (++pairs == kMaxChain) {
      Q7_REPORT_ERROR(kModule, "Too many hierarchy levels for class %d, version control will fail\n",
                      static_cast<int>(obj->clid));
      break;
    }
  }
  return true;
}

// The name is a counted text: 16-bit length with the NUL, then the bytes.
bool q7os_read_name(Q7Object *stream, char (&name)[kMaxName]) {
  uint16_t length = 0;
  if (!q7os_read(stream, kRead16, length) || length < 1 || length > kMaxName) return false;
  Q7TagItem block[] = {{kTagBuffer, q7::arg(&name[0])}, {kTagLength, length}, {Q7TAG_END, 0}};
  if (!q7::send(stream, kReadBlock, 0, 0, block)) return false;
  return name[length - 1] == 0;
}

bool q7os_read_header(Q7Object *stream, Header &header) {
  if (!q7os_read(stream, kRead32, header.clid)) return false;
  header.pairs = 0;
  do {
    uint32_t &id = header.ids[header.pairs];
    if (!q7os_read(stream, kRead32, id) || !q7os_read(stream, kRead16, header.versions[header.pairs])) return false;
    ++header.pairs;
    if (id == Q7C_ROOT) break;
  } while (header.pairs < kMaxChain);
  return q7os_read_name(stream, header.name);
}

// A class by an id out of a stream: such an id may be anything, so it is not worth a panic.
Q7Class *q7os_find(uint32_t clid) {
  uint32_t found = 0;
  Q7Class *cl = Q7ClassNext(clid, &found);
  return cl && found == clid ? cl : nullptr;
}

// Whether the installed classes are as new as the stored ones; the first that is not is reported.
bool q7os_check_versions(const Header &header) {
  for (int i = 0; i < header.pairs; ++i) {
    const Q7Class *cl = q7os_find(header.ids[i]);
    if (!cl || cl->version >= header.versions[i]) continue;
    // The naming service may report too, so it is asked before the position is set.
    const char *name = q7::class_name(header.ids[i]);
    Q7_REPORT_ERROR(kModule, "%s '%s', %s (class %d/%s: %d < %d)", q7::root_string(q7::kCannotReadObject), header.name,
                    q7::root_string(q7::kNeedNewerVersion), static_cast<int>(header.ids[i]), name,
                    static_cast<int>(cl->version), header.versions[i]);
    return false;
  }
  return true;
}

void q7os_report_missing(const Header &header) {
  if (!q7::report_missing_classes()) return;
  const char *name = q7::class_name(header.clid);
  Q7_REPORT_ERROR(kModule, "%s '%s', %s (%d %s)", q7::root_string(q7::kCannotReadObject), header.name, Q7AppStr(4),
                  static_cast<int>(header.clid), name);
}

}  // namespace

uint64_t q7::save_object(Q7Object *obj, Q7TagItem *tags) {
  auto *stream = as<Q7Object *>(Q7TagVal(tags, Q7A_STREAM, 0));
  if (!stream) return 0;
  // The limit of a name is the reader's: the writer stores what the object has.
  const char *name = obj->name ? obj->name : "";
  return q7os_write(stream, kWrite32, obj->clid) && q7os_write_chain(obj, stream) &&
         q7os_write(stream, kWriteText, name);
}

Q7Object *q7::load_object(uint64_t allocator, Q7Object *stream, Q7TagItem *tags) {
  if (!stream) return nullptr;
  Header header = {};
  if (!q7os_read_header(stream, header)) return nullptr;
  Q7Class *cl = q7os_find(header.clid);
  if (!cl) {
    q7os_report_missing(header);
    return nullptr;
  }
  if (!q7os_check_versions(header)) return nullptr;
  // An unnamed object was stored with the empty text and becomes unnamed again.
  Q7TagItem creation[2] = {{Q7A_NAME, arg(header.name[0] ? header.name : nullptr)}, {Q7TAG_END, 0}};
  auto *obj = as<Q7Object *>(send(cl, Q7M_NEW, allocator, 0, creation));
  if (!obj) return nullptr;
  Q7TagItem reading[2] = {{Q7A_STREAM, arg(stream)}, {Q7TAG_LINK, arg(tags)}};
  if (send(obj, Q7M_READ, 0, 0, reading)) return obj;
  send(obj, Q7M_DISPOSE, allocator);
  return nullptr;
}
