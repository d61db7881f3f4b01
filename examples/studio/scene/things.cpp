// camera, light and material: nodes that are nothing but their attributes.
#include <cmath>

#include "examples/studio/scene/sceneclass.hpp"
#include "math/q7color.h"

namespace scene {

namespace {

// ---- camera ----

struct Camera {
  double view;  // degrees (Q7A_CAMERA_VIEW)
};
const Field camera_fields[] = {{"View", Q7A_CAMERA_VIEW, Q7TID_FLOAT, offsetof(Camera, view), 1, 170}};
Q7PublicAttribute camera_rows[kMaxFields + 1];

uint64_t camera_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return dispatch(camera_class, cl, obj, method, a, b, tags);
}

// ---- light ----

struct Light {
  double color[3];  // Q7A_LIGHT_COLOR
  double power;     // Q7A_LIGHT_POWER
  double radius;    // Q7A_LIGHT_RADIUS
};
const Field light_fields[] = {{"Color", Q7A_LIGHT_COLOR, Q7TID_RGB, offsetof(Light, color), 0, 1e6},
                              {"Power", Q7A_LIGHT_POWER, Q7TID_FLOAT, offsetof(Light, power), 0, 1e6},
                              {"Radius", Q7A_LIGHT_RADIUS, Q7TID_FLOAT, offsetof(Light, radius), 0, 1e6}};
Q7PublicAttribute light_rows[kMaxFields + 1];

uint64_t light_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return dispatch(light_class, cl, obj, method, a, b, tags);
}

// ---- material ----

struct Material {
  double color[3];   // Q7A_MATERIAL_COLOR
  double second[3];  // Q7A_MATERIAL_SECOND
  int32_t texture;   // Q7A_MATERIAL_TEXTURE
  double octaves;    // Q7A_MATERIAL_OCTAVES
  double gloss;      // Q7A_MATERIAL_GLOSS
  double shine;      // Q7A_MATERIAL_SHINE
  double mirror;     // Q7A_MATERIAL_MIRROR
};
const Field material_fields[] = {
    {"Color", Q7A_MATERIAL_COLOR, Q7TID_RGB, offsetof(Material, color), 0, 1e6},
    {"Second", Q7A_MATERIAL_SECOND, Q7TID_RGB, offsetof(Material, second), 0, 1e6},
    {"Texture", Q7A_MATERIAL_TEXTURE, Q7TID_INT, offsetof(Material, texture), Q7TEXTURE_PLAIN, Q7TEXTURE_CELLS},
    {"Octaves", Q7A_MATERIAL_OCTAVES, Q7TID_FLOAT, offsetof(Material, octaves), 1, 16},
    {"Gloss", Q7A_MATERIAL_GLOSS, Q7TID_FLOAT, offsetof(Material, gloss), 0, 1},
    {"Shine", Q7A_MATERIAL_SHINE, Q7TID_FLOAT, offsetof(Material, shine), 1, 10000},
    {"Mirror", Q7A_MATERIAL_MIRROR, Q7TID_FLOAT, offsetof(Material, mirror), 0, 1},
    {"Hue", Q7A_MATERIAL_HUE, Q7TID_FLOAT},
    {"Saturation", Q7A_MATERIAL_SATURATION, Q7TID_FLOAT},
    {"Brightness", Q7A_MATERIAL_BRIGHTNESS, Q7TID_FLOAT},
};
Q7PublicAttribute material_rows[kMaxFields + 1];

double *channel(Q7ColorHSL &hsl, uint32_t tag) {
  switch (tag) {
    case Q7A_MATERIAL_HUE: return &hsl.h;
    case Q7A_MATERIAL_SATURATION: return &hsl.s;
    case Q7A_MATERIAL_BRIGHTNESS: return &hsl.l;
    default: return nullptr;
  }
}

Q7ColorHSL hsl_of(const Material &m) {
  const Q7ColorRGB rgb = {m.color[0], m.color[1], m.color[2]};
  Q7ColorHSL hsl;
  Q7RgbToHsl(&hsl, &rgb);
  return hsl;
}

bool set_material(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  Material &m = data<Material>(cl, obj);
  Q7ColorHSL hsl = hsl_of(m);
  double *part = channel(hsl, item.tag);
  if (!part) return false;
  const auto *value = reinterpret_cast<const double *>(item.data);
  if (!value || !(*value >= 0 && *value <= 1)) {
    report("Hue, Saturation and Brightness lie between 0 and 1");
    return true;
  }
  *part = *value;
  Q7ColorRGB rgb;
  Q7HslToRgb(&rgb, &hsl);
  m.color[0] = rgb.red;
  m.color[1] = rgb.green;
  m.color[2] = rgb.blue;
  return true;
}

bool get_material(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  Q7ColorHSL hsl = hsl_of(data<Material>(cl, obj));
  const double *part = channel(hsl, item.tag);
  return part && answer(item, *part);
}

uint64_t material_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return dispatch(material_class, cl, obj, method, a, b, tags);
}

template <class T, int n>
constexpr int count(T (&)[n]) {
  return n;
}

}  // namespace

const ClassDef camera_class = {.id = Q7C_CAMERA,
                               .super = Q7C_NODE,
                               .name = "camera",
                               .description = "Camera",
                               .dispatch = camera_dispatch,
                               .size = sizeof(Camera),
                               .version = 1,
                               .fields = camera_fields,
                               .field_count = count(camera_fields),
                               .defaults = [](void *c) { static_cast<Camera *>(c)->view = 40; },
                               .rows = camera_rows};

const ClassDef light_class = {.id = Q7C_LIGHT,
                              .super = Q7C_NODE,
                              .name = "light",
                              .description = "Light",
                              .dispatch = light_dispatch,
                              .size = sizeof(Light),
                              .version = 1,
                              .fields = light_fields,
                              .field_count = count(light_fields),
                              .defaults =
                                  [](void *l) {
                                    *static_cast<Light *>(l) = {{1, 1, 1}, 1, 0};
                                  },
                              .rows = light_rows};

const ClassDef material_class = {
    .id = Q7C_MATERIAL,
    .super = Q7C_NODE,
    .name = "material",
    .description = "Material",
    .dispatch = material_dispatch,
    .size = sizeof(Material),
    .version = 1,
    .fields = material_fields,
    .field_count = count(material_fields),
    .defaults =
        [](void *m) {
          *static_cast<Material *>(m) = {{0.8, 0.8, 0.8}, {0.2, 0.2, 0.2}, Q7TEXTURE_PLAIN, 4, 0, 40, 0};
        },
    .set = set_material,
    .get = get_material,
    .rows = material_rows};

}  // namespace scene
