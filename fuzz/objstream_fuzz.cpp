// objstream_fuzz: the reader of object streams. Loads an object from the input, through classes with versions and data
// of their own, one of which holds further objects; what loads is saved, loaded and saved again, and must come out as
// it went in. Nothing may be left behind, whatever the input was.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7oops.h"
#include "core/q7root.h"
#include "math/q7matrix.h"

namespace {

[[noreturn]] void broken(const char *what) {
  std::fprintf(stderr, "objstream_fuzz: %s\n", what);
  std::abort();
}

// A stream of bytes in memory: the value methods that object streams are made of.
struct Stream {
  Q7Object object;
  std::string bytes;
  size_t position;

  explicit Stream(std::string content) : object{}, bytes(std::move(content)), position(0) {
    object.dispatch = dispatch;
  }

  bool read(void *to, size_t size) {
    if (bytes.size() - position < size) return false;
    std::memcpy(to, bytes.data() + position, size);
    position += size;
    return true;
  }
  bool write(const void *from, size_t size) {
    bytes.append(static_cast<const char *>(from), size);
    return true;
  }
  static uint64_t dispatch(Q7Class *, Q7Object *obj, uint32_t method, uint64_t, uint64_t, Q7TagItem *tags) {
    auto &self = *reinterpret_cast<Stream *>(obj);
    const auto value = reinterpret_cast<uint64_t>(tags);
    switch (method) {
      case 5000: return self.read(reinterpret_cast<void *>(Q7TagVal(tags, 5504, 0)), Q7TagVal(tags, 5503, 0));
      case 5001: return self.read(tags, 4);
      case 5002: return self.read(tags, 2);
      case 5003: return self.read(tags, 8);
      case 5005: return self.write(reinterpret_cast<void *>(Q7TagVal(tags, 5504, 0)), Q7TagVal(tags, 5503, 0));
      case 5006: return self.write(&value, 4);
      case 5007: return self.write(&value, 2);
      case 5008: return self.write(tags, 8);
      case 5047: {
        const auto *text = reinterpret_cast<const char *>(tags);
        const auto length = static_cast<uint16_t>(std::strlen(text) + 1);
        return self.write(&length, 2) && self.write(text, length);
      }
      default: broken("a stream method that object streams do not need");
    }
  }
};

uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t slot = 0) {
  return obj->dispatch(obj->cl, obj, method, a, 0, reinterpret_cast<Q7TagItem *>(slot));
}
uint64_t word(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }

template <class T>
T &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<T *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}
uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}
Q7Object *stream_of(Q7TagItem *tags) { return reinterpret_cast<Q7Object *>(Q7TagVal(tags, Q7A_STREAM, 0)); }

// Class 100, version 7: a number and a matrix.
struct Body {
  uint32_t number;
  Q7Matrix place;
};
uint64_t body_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_SAVE && method != Q7M_READ) return inherit(cl, obj, method, a, b, tags);
  if (!inherit(cl, obj, method, a, b, tags)) return 0;
  Body &body = data<Body>(cl, obj);
  Q7Object *stream = stream_of(tags);
  if (method == Q7M_SAVE) return send(stream, 5006, 0, body.number) && Q7MxWrite(&body.place, stream);
  return send(stream, 5001, 0, word(&body.number)) && Q7MxRead(&body.place, stream);
}

// Class 101, version 2, below 100: a text in memory of its own.
struct Label {
  char *text;
  uint16_t size;
};
uint64_t label_read(Label &label, Q7Object *stream) {
  uint16_t size = 0;
  if (!send(stream, 5002, 0, word(&size)) || size == 0) return 0;
  label.text = static_cast<char *>(Q7AllocMem(size, 0));
  if (!label.text) return 0;
  label.size = size;
  Q7TagItem block[] = {{5504, word(label.text)}, {5503, size}, {Q7TAG_END, 0}};
  return send(stream, 5000, 0, word(block));
}
uint64_t label_save(const Label &label, Q7Object *stream) {
  Q7TagItem block[] = {{5504, word(label.text)}, {5503, label.size}, {Q7TAG_END, 0}};
  return send(stream, 5007, 0, label.size) && send(stream, 5005, 0, word(block));
}
uint64_t label_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_DISPOSE: Q7FreeMem(data<Label>(cl, obj).text, 0); break;
    case Q7M_READ: return inherit(cl, obj, method, a, b, tags) ? label_read(data<Label>(cl, obj), stream_of(tags)) : 0;
    case Q7M_SAVE: return inherit(cl, obj, method, a, b, tags) ? label_save(data<Label>(cl, obj), stream_of(tags)) : 0;
    default: break;
  }
  return inherit(cl, obj, method, a, b, tags);
}

// Class 102, version 1: further objects, in a list, as many as its count says.
struct Group {
  Q7List members;
};
int depth;
uint64_t group_read(Group &group, Q7Object *stream) {
  constexpr int kDeepest = 16;
  uint16_t count = 0;
  if (!send(stream, 5002, 0, word(&count))) return 0;
  while (count-- > 0) {
    if (depth == kDeepest) return 0;
    ++depth;
    Q7Object *member = Q7ObjectLoad(stream, 0);
    --depth;
    if (!member) return 0;
    send(member, Q7M_ADDTAIL, 0, word(&group.members));
  }
  return 1;
}
uint64_t group_save(const Group &group, Q7Object *stream) {
  if (!send(stream, 5007, 0, static_cast<uint64_t>(Q7NodeCount(&group.members)))) return 0;
  for (Q7Node *node = group.members.head; node->succ; node = node->succ) {
    if (!Q7ObjectSave(reinterpret_cast<Q7Object *>(node), Q7A_STREAM, word(stream), 0)) return 0;
  }
  return 1;
}
uint64_t group_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: {
      auto *made = reinterpret_cast<Q7Object *>(inherit(cl, obj, method, a, b, tags));
      if (made) Q7NewList(&data<Group>(cl, made).members);
      return word(made);
    }
    case Q7M_DISPOSE:
      while (Q7Node *node = Q7RemHead(&data<Group>(cl, obj).members))
        Q7ObjectDelete(reinterpret_cast<Q7Object *>(node));
      break;
    case Q7M_READ: return inherit(cl, obj, method, a, b, tags) ? group_read(data<Group>(cl, obj), stream_of(tags)) : 0;
    case Q7M_SAVE: return inherit(cl, obj, method, a, b, tags) ? group_save(data<Group>(cl, obj), stream_of(tags)) : 0;
    default: break;
  }
  return inherit(cl, obj, method, a, b, tags);
}

int silent(const char *, int, const char *, ...) { return 0; }

Q7Class *make_class(uint32_t super, uint32_t id, Q7Dispatcher dispatcher, uint32_t size, uint64_t version) {
  return Q7ClassCreate(super, id, dispatcher, size, Q7CT_NAME, word("fuzzed"), Q7CT_VERSION, version, 0);
}

// An object system for as long as the process lives, without an application around it.
bool start() {
  static Q7App app;
  app.name = "objstream_fuzz";
  app.error_handler = silent;
  setenv("HOME", "/dev/null", 1);  // reports find no log file
  return Q7OopsInit(&app) && Q7RegisterRootClass(&app) && make_class(Q7C_ROOT, 100, body_dispatch, sizeof(Body), 7) &&
         make_class(100, 101, label_dispatch, sizeof(Label), 2) &&
         make_class(Q7C_ROOT, 102, group_dispatch, sizeof(Group), 1) && make_class(102, 103, nullptr, 0, 65535);
}

std::string saved(Q7Object *obj) {
  Stream stream("");
  if (!Q7ObjectSave(obj, Q7A_STREAM, word(&stream.object), 0)) broken("what was loaded cannot be saved");
  return stream.bytes;
}

void check(Q7Object *obj) {
  if (obj->refcount != 0) broken("a loaded object is referenced");
  if (obj->name && (obj->name[0] == 0 || std::strlen(obj->name) > 199)) broken("a name that no stream can hold");
  const std::string first = saved(obj);
  Stream stream(first);
  Q7Object *again = Q7ObjectLoad(&stream.object, 0);
  if (!again || stream.position != first.size()) broken("what was saved cannot be loaded");
  if (saved(again) != first) broken("saving it again gives something else");
  Q7ObjectDelete(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *input, size_t size) {
  static const bool started = start();
  if (!started) broken("no object system");
  Stream stream(std::string(reinterpret_cast<const char *>(input), size));
  if (Q7Object *obj = Q7ObjectLoad(&stream.object, 0)) {
    check(obj);
    Q7ObjectDelete(obj);
  }
  if (Q7ClassFind(Q7C_ROOT)->nsubinstances != 0) broken("an object was left behind");
  return 0;
}
