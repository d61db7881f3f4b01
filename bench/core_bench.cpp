// core_bench: what the object system costs: sending, inheriting, tag look-up, lists, objects, attributes, references
// and the making of classes. Everything is called through the shared library, as a client does.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "bench/ratios.hpp"
#include "core/classdef.hpp"
#include "core/q7lists.h"
#include "core/q7objects.h"
#include "core/q7oops.h"
#include "core/q7root.h"
#include "core/q7tags.h"

namespace {

constexpr char kName[] = "a lamp in the hall";

// ---- Classes: 101 on the root class, 102 on 101, ... 105; each owns one attribute, 101 also a message ----

enum { kFirstClass = 101, kLastClass = 105, kPing = 101001, kAttribute = 500 };

struct Data {
  uint64_t value;
};

template <uint32_t Id>
uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_SET:
      return q7::set_attributes<Data>(cl, obj, tags, [](Data &data, const Q7TagItem &item) {
        if (item.tag != Id * 1000 + kAttribute) return false;
        data.value = item.data;
        return true;
      });
    case Id * 1000 + 1: return q7::data<Data>(cl, obj).value + a;
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr Q7Dispatcher kDispatchers[] = {dispatch<101>, dispatch<102>, dispatch<103>, dispatch<104>, dispatch<105>};

Q7Object *make(uint32_t clid) { return Q7ObjectCreate(clid, Q7A_NAME, reinterpret_cast<uint64_t>(kName), 0); }

// ---- Peers ----

struct Virtual {
  virtual ~Virtual() = default;
  virtual uint64_t ping(uint64_t a) = 0;
};
struct Pinged : Virtual {
  uint64_t value = 1;
  uint64_t ping(uint64_t a) override { return value + a; }
};
struct Doubled : Pinged {
  uint64_t ping(uint64_t a) override { return value + 2 * a; }
};

// Two classes, of which the compiler does not know which it will be, so the call stays a virtual one.
[[gnu::noipa]] Virtual *virtual_object(bool doubled) {
  if (doubled) return new Doubled;
  return new Pinged;
}

void peer_virtual_call(benchmark::State &state) {
  Virtual *object = virtual_object(state.range(0) != 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(object);
    benchmark::DoNotOptimize(object->ping(0));
  }
  delete object;
}
BENCHMARK(peer_virtual_call)->Arg(0);

// What people write who need an object with a name, a reference count and a place in a list of children: on the heap,
// with a virtual destructor, private data behind a pointer, the name in a block of its own.
class Named {
 public:
  explicit Named(Named *parent) : d_(new Private) {
    d_->parent = parent;
    if (parent) parent->adopt(this);
  }
  Named(const Named &) = delete;
  Named &operator=(const Named &) = delete;
  virtual ~Named() {
    if (d_->parent) d_->parent->abandon(this);
    delete d_;
  }
  virtual void rename(const char *name) { d_->name = name; }

 private:
  struct Private {
    std::string name;
    Named *parent = nullptr;
    std::vector<Named *> children;
    std::atomic<int> references{1};
  };
  void adopt(Named *child) { d_->children.push_back(child); }
  void abandon(Named *child) { d_->children.erase(std::find(d_->children.begin(), d_->children.end(), child)); }
  Private *d_;
};

void peer_named_create_delete(benchmark::State &state) {
  Named parent(nullptr);
  for (auto _ : state) {
    auto *object = new Named(&parent);
    object->rename(kName);
    benchmark::DoNotOptimize(object);
    delete object;
  }
}
BENCHMARK(peer_named_create_delete);

void peer_two_atomics(benchmark::State &state) {
  std::atomic<int32_t> count{1};
  for (auto _ : state) {
    benchmark::DoNotOptimize(&count);
    count.fetch_add(1);
    benchmark::DoNotOptimize(count.fetch_sub(1));
  }
}
BENCHMARK(peer_two_atomics);

// ---- Sending ----

void send_without_tags(benchmark::State &state) {
  Q7Object *object = make(kFirstClass);
  for (auto _ : state) benchmark::DoNotOptimize(Q7SendMsg(object, kPing, 0));
  Q7ObjectDelete(object);
}
BENCHMARK(send_without_tags);

void send_two_tags(benchmark::State &state) {
  Q7Object *object = make(kFirstClass);
  for (auto _ : state) benchmark::DoNotOptimize(Q7SendMsg(object, kPing, 101600, uint64_t{1}, 101601, uint64_t{2}, 0));
  Q7ObjectDelete(object);
}
BENCHMARK(send_two_tags);

// The message belongs to class 101; the receiver's class is the fourth below it.
void send_inherited_through_four(benchmark::State &state) {
  Q7Object *object = make(kLastClass);
  for (auto _ : state) benchmark::DoNotOptimize(Q7SendMsg(object, kPing, 0));
  Q7ObjectDelete(object);
}
BENCHMARK(send_inherited_through_four);

// ---- Tags and lists ----

void tag_value_of_eight(benchmark::State &state) {
  Q7TagItem list[9] = {};
  for (uint32_t i = 0; i < 8; ++i) list[i] = {101500 + i, i};
  for (auto _ : state) {
    benchmark::DoNotOptimize(list);
    benchmark::DoNotOptimize(Q7TagVal(list, 101507, 0));
  }
}
BENCHMARK(tag_value_of_eight);

// One of 64 nodes goes behind another and is taken out again, each time another pair.
void list_insert_remove(benchmark::State &state) {
  Q7List list;
  Q7NewList(&list);
  Q7Node standing[64] = {};
  Q7Node moving[64] = {};
  for (Q7Node &node : standing) Q7AddTail(&list, &node);
  unsigned turn = 0;
  for (auto _ : state) {
    Q7Node *node = &moving[turn & 63];
    Q7Insert(&list, node, &standing[turn++ & 63]);
    Q7Remove(node);
  }
}
BENCHMARK(list_insert_remove);

// ---- Objects ----

void create_delete_named(benchmark::State &state) {
  for (auto _ : state) {
    Q7Object *object = make(kFirstClass);
    benchmark::DoNotOptimize(object);
    Q7ObjectDelete(object);
  }
}
BENCHMARK(create_delete_named);

// An object of the class three levels deep, 103; the attribute belongs to that class, or to the one two levels up.
void set_attribute(benchmark::State &state, uint32_t owner) {
  Q7Object *object = make(103);
  uint64_t value = 0;
  for (auto _ : state) benchmark::DoNotOptimize(Q7Set(object, owner * 1000 + kAttribute, ++value, 0));
  Q7ObjectDelete(object);
}
BENCHMARK_CAPTURE(set_attribute, own, 103);
BENCHMARK_CAPTURE(set_attribute, inherited, 101);

void add_release_reference(benchmark::State &state) {
  Q7Object *object = make(kFirstClass);
  Q7SendMsg(object, Q7M_ADDREF, 0);
  for (auto _ : state) {
    Q7SendMsg(object, Q7M_ADDREF, 0);
    benchmark::DoNotOptimize(Q7SendMsg(object, Q7M_RELEASE, 0));
  }
  Q7SendMsg(object, Q7M_RELEASE, 0);
}
BENCHMARK(add_release_reference);

// ---- Classes ----

Q7App app;

void start() {
  app = {};
  app.name = "core_bench";
  app.error_handler = Q7AppConsoleError;
  Q7OopsInit(&app);
  Q7RegisterRootClass(&app);
  for (uint32_t id = kFirstClass; id <= kLastClass; ++id) {
    const uint32_t super = id == kFirstClass ? uint32_t{Q7C_ROOT} : id - 1;
    Q7ClassCreate(super, id, kDispatchers[id - kFirstClass], sizeof(Data), Q7CT_NAME,
                  reinterpret_cast<uint64_t>("bench"), 0);
  }
}

void create_classes(benchmark::State &state) {
  const auto count = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    for (uint32_t i = 0; i < count; ++i) {
      Q7ClassCreate(Q7C_ROOT, 1000 + i, nullptr, 16, Q7CT_NAME, reinterpret_cast<uint64_t>("many"), 0);
    }
    state.PauseTiming();
    Q7OopsFree(&app);
    start();
    state.ResumeTiming();
  }
}
BENCHMARK(create_classes)->Arg(1250)->Arg(5000)->Iterations(3);

}  // namespace

int main(int argc, char **argv) {
  // The settings store of the classes goes into a home folder that lives as long as the run.
  std::string home = (std::filesystem::temp_directory_path() / "core_bench.XXXXXX").string();
  if (!mkdtemp(home.data())) return 2;
  setenv("HOME", home.c_str(), 1);
  start();
  const int status = q7bench::run(
      argc, argv,
      {
          {"a message without tags, to a virtual call", "send_without_tags", "peer_virtual_call/0", 3},
          {"a message with two tags, to a virtual call", "send_two_tags", "peer_virtual_call/0", 5},
          {"a message inherited through four classes, to a virtual call", "send_inherited_through_four",
           "peer_virtual_call/0", 8},
          {"Q7TagVal over 8 items", "tag_value_of_eight", "", 6},
          {"insert into a list, or remove from it", "list_insert_remove", "", 3, 2},
          {"create and delete a named object, to QObject", "create_delete_named", "peer_qobject_create_delete", 0.6},
          {"  the same, to GObject", "create_delete_named", "peer_gobject_create_delete", 0},
          {"  the same, to the leanest object with name, parent and private data", "create_delete_named",
           "peer_named_create_delete", 0},
          {"  in nanoseconds", "create_delete_named", "", 0},
          {"Q7Set of an attribute of a class three levels deep", "set_attribute/own", "", 15},
          {"  to QObject's setProperty", "set_attribute/own", "peer_qobject_set", 15.0 / 36},
          {"  to g_object_set", "set_attribute/own", "peer_gobject_set", 15.0 / 40},
          {"Q7Set of one that it inherits from two levels up", "set_attribute/inherited", "", 0},
          {"  to QObject's setProperty", "set_attribute/inherited", "peer_qobject_set", 15.0 / 36},
          {"  to g_object_set", "set_attribute/inherited", "peer_gobject_set", 15.0 / 40},
          {"add and release a reference, to two atomic operations", "add_release_reference", "peer_two_atomics", 1.3},
          {"creating 5000 classes", "create_classes/5000", "", 10e6},
          {"  a class among 5000, to one among 1250", "create_classes/5000", "create_classes/1250", 4 * 1.5},
      });
  Q7OopsFree(&app);
  Q7RegisterClient(nullptr);
  std::filesystem::remove_all(home);
  return status;
}
