// gobject: the object system of GLib as a peer: a class with a name property, set when it is created and changed later.
#include <benchmark/benchmark.h>
#include <glib-object.h>

namespace {

struct Named {
  GObject parent;
  char *name;
  int value;
};
struct NamedClass {
  GObjectClass parent;
};

enum { kName = 1, kValue = 2 };

GType named_get_type();
gpointer parent_class;

void set_property(GObject *object, guint id, const GValue *value, GParamSpec *) {
  auto *self = reinterpret_cast<Named *>(object);
  if (id == kName) {
    g_free(self->name);
    self->name = g_value_dup_string(value);
  } else {
    self->value = g_value_get_int(value);
  }
}

void finalize(GObject *object) {
  g_free(reinterpret_cast<Named *>(object)->name);
  static_cast<GObjectClass *>(parent_class)->finalize(object);
}

void class_init(gpointer cl, gpointer) {
  auto *object_class = static_cast<GObjectClass *>(cl);
  parent_class = g_type_class_peek_parent(cl);
  object_class->set_property = set_property;
  object_class->finalize = finalize;
  const auto flags = static_cast<GParamFlags>(G_PARAM_WRITABLE | G_PARAM_STATIC_STRINGS);
  g_object_class_install_property(object_class, kName, g_param_spec_string("name", "", "", nullptr, flags));
  g_object_class_install_property(object_class, kValue, g_param_spec_int("value", "", "", 0, 1 << 30, 0, flags));
}

GType named_get_type() {
  static const GType type = g_type_register_static_simple(G_TYPE_OBJECT, "BenchNamed", sizeof(NamedClass), class_init,
                                                          sizeof(Named), nullptr, static_cast<GTypeFlags>(0));
  return type;
}

void peer_gobject_create_delete(benchmark::State &state) {
  const GType type = named_get_type();
  for (auto _ : state) {
    void *object = g_object_new(type, "name", "a lamp in the hall", nullptr);
    benchmark::DoNotOptimize(object);
    g_object_unref(object);
  }
}
BENCHMARK(peer_gobject_create_delete);

void peer_gobject_set(benchmark::State &state) {
  void *object = g_object_new(named_get_type(), nullptr);
  int value = 0;
  for (auto _ : state) g_object_set(object, "value", ++value & 0xFFFF, nullptr);
  g_object_unref(object);
}
BENCHMARK(peer_gobject_set);

}  // namespace
