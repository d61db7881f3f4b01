// Tests of examples/studio/scene: the classes of a scene, as the plug-in library brings them.
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "app/q7app.h"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7plugin.h"
#include "core/q7root.h"
#include "examples/studio/scene/scene.h"
#include "io/q7file.h"
#include "io/q7iff.h"
#include "math/q7quat.h"
#include "tests/support/test_support.h"

namespace {

using q7test::AllocGate;
using q7test::Capture;

std::vector<std::string> reports;

int record(const char *, int, const char *text, ...) {
  reports.emplace_back(text);
  return 0;
}

template <class T>
uint64_t word(T *pointer) {
  return reinterpret_cast<uint64_t>(pointer);
}
template <class T>
Q7TagItem *slot(T *pointer) {
  return reinterpret_cast<Q7TagItem *>(const_cast<void *>(static_cast<const void *>(pointer)));
}
uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return obj->dispatch(obj->cl, obj, method, a, b, tags);
}
template <class T>
T get(Q7Object *obj, uint32_t tag) {
  T value = {};
  EXPECT_EQ(Q7Get(obj, tag, word(&value), 0), 0u) << tag;
  return value;
}
bool by_path(Q7Object *obj, const char *path, const char *text) {
  return send(obj, Q7M_SET_BY_PATH, word(path), 12, slot(text)) != 0;
}
double number_at(Q7Object *obj, const char *path) {
  double value = NAN;
  EXPECT_NE(send(obj, Q7M_GET_BY_PATH, word(path), 0, slot(&value)), 0u) << path;
  return value;
}

class Scene : public q7test::Test {
 protected:
  void SetUp() override {
    reports.clear();
    app_ = Q7AppCreate(nullptr, nullptr, Q7APP_Name, word("scenetest"), Q7APP_Interactive, uint64_t{0},
                       Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(&record), 0);
    ASSERT_NE(app_, nullptr);
    ASSERT_EQ(Q7RegisterIFFClass(app_), 1);
    Q7SetPluginDir(app_, Q7_PLUGINS);
    ASSERT_EQ(Q7LoadPluginLibrary(app_, "q7scene"), 1);
  }
  void TearDown() override {
    idle();
    uint32_t nodes = 0;
    Q7GetClassAttrs(Q7C_NODE, Q7CT_NSUBINSTANCES, word(&nodes), 0);
    EXPECT_EQ(nodes, 0u) << "nodes are left";
    Q7AppDelete(app_);
  }
  void idle() {
    while (Q7AppFlushIdle(app_)) {
    }
  }
  static Q7Object *make(uint32_t clid, const char *name) { return Q7ObjectCreate(clid, Q7A_NAME, word(name), 0); }
  static Q7Object *add(Q7Object *group, uint32_t clid, const char *name) {
    Q7Object *node = make(clid, name);
    EXPECT_EQ(send(group, Q7M_GROUP_ADD, 0, 0, slot(node)), 1u);
    return node;
  }
  static Q7MeshData triangle() {
    Q7MeshData data = {};
    data.points = static_cast<float *>(Q7AllocMem(9 * sizeof(float), Q7MEM_CLEAR));
    data.corners = static_cast<uint32_t *>(Q7AllocMem(3 * sizeof(uint32_t), Q7MEM_CLEAR));
    data.point_count = 3;
    data.triangle_count = 1;
    data.points[3] = 1;
    data.points[7] = 1;
    data.corners[1] = 1;
    data.corners[2] = 2;
    return data;
  }
  static std::string members(Q7Object *group) {
    std::string names;
    for (Q7Node *node = get<Q7List *>(group, Q7A_GROUP_MEMBERS)->head; node->succ; node = node->succ) {
      names += std::string(node->name) + " ";
    }
    return names;
  }
  static int32_t references(Q7Object *obj) { return get<int32_t>(obj, Q7A_REFCOUNT); }

  std::string path(const char *name) const { return (home() / name).string(); }
  static Q7Object *open(const std::string &name, const char *mode) {
    uint32_t id = 0, form = 0;
    std::memcpy(&id, "Q7D8", 4);
    std::memcpy(&form, "TEST", 4);
    return Q7ObjectCreate(Q7C_IFF, Q7A_FILE_NAME, word(name.c_str()), Q7A_FILE_MODE, word(mode), Q7A_IFF_ID, word(&id),
                          Q7A_IFF_FORM, word(&form), 0);
  }
  static bool save(Q7Object *obj, const std::string &name) {
    Q7Object *file = open(name, "w");
    if (!file) return false;
    const bool saved = Q7ObjectSave(obj, Q7A_STREAM, word(file), 0) != 0;
    return Q7ObjectDelete(file) && saved;
  }
  static Q7Object *load(const std::string &name) {
    Q7Object *file = open(name, "r");
    if (!file) return nullptr;
    Q7Object *obj = Q7ObjectLoad(file, 0);
    Q7ObjectDelete(file);
    return obj;
  }
  static std::string bytes(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  Q7App *app_ = nullptr;
};

// ---- Attributes ----

TEST_F(Scene, AttributesAreReachedByPath) {
  Q7Object *scene = make(Q7C_SCENE, "scene");
  Q7Object *clay = add(scene, Q7C_MATERIAL, "clay");
  add(add(scene, Q7C_GROUP, "table"), Q7C_MESH, "cup");
  EXPECT_TRUE(by_path(scene, ".clay.Color", "0.25 0.5 0.75"));
  EXPECT_EQ(number_at(scene, "clay.Color.g"), 0.5);
  EXPECT_EQ(get<Q7Vector>(clay, Q7A_MATERIAL_COLOR).z, 0.75);
  EXPECT_TRUE(by_path(scene, "table.cup.Material", "clay"));
  EXPECT_TRUE(by_path(scene, "Members.table.cup.Angles.x", "90"));
  EXPECT_EQ(number_at(scene, "table.cup.Angles.x"), 90);
  EXPECT_FALSE(by_path(scene, "table.cup.Triangles", "5")) << "read only";
  EXPECT_FALSE(by_path(scene, "table.pot.Angles.x", "5"));
  Q7ObjectDelete(scene);
}

TEST_F(Scene, AttributesAreDescribed) {
  Q7Object *light = make(Q7C_LIGHT, "lamp");
  Q7PublicAttribute row = {};
  EXPECT_EQ(send(light, Q7M_ROW_BY_NAME, word("Power"), 0, slot(&row)), 1u);
  EXPECT_EQ(row.tag, uint32_t{Q7A_LIGHT_POWER});
  EXPECT_EQ(row.name, nullptr);
  EXPECT_EQ(send(light, Q7M_ROW_BY_TAG, Q7A_NODE_ORIGIN, 0, slot(&row)), 1u) << "of the superclass";
  EXPECT_STREQ(row.name, "Origin");
  EXPECT_EQ(send(light, Q7M_TAG_BY_NAME, 0, 0, slot("Radius")), uint64_t{Q7A_LIGHT_RADIUS});
  char name[64] = "";
  EXPECT_NE(send(light, Q7M_NAME_OF_TAG, Q7A_LIGHT_COLOR, 0, slot(&name[0])), 0u);
  EXPECT_STREQ(name, "Color");
  Q7ObjectDelete(light);
}

TEST_F(Scene, ValuesAreBroughtIntoTheirRange) {
  Q7Object *material = make(Q7C_MATERIAL, "m");
  const double much = 7, nothing = -3;
  EXPECT_EQ(Q7Set(material, Q7A_MATERIAL_MIRROR, word(&much), Q7A_MATERIAL_OCTAVES, word(&nothing),
                  Q7A_MATERIAL_TEXTURE, uint64_t{99}, 0),
            0u);
  EXPECT_EQ(get<double>(material, Q7A_MATERIAL_MIRROR), 1);
  EXPECT_EQ(get<double>(material, Q7A_MATERIAL_OCTAVES), 1);
  EXPECT_EQ(get<int32_t>(material, Q7A_MATERIAL_TEXTURE), int32_t{Q7TEXTURE_CELLS});
  Q7ObjectDelete(material);
}

TEST_F(Scene, ValuesThatAreNotFiniteAreRefused) {
  Q7Object *light = make(Q7C_LIGHT, "l");
  const double power = std::numeric_limits<double>::infinity();
  const Q7Vector origin = {1, std::nan(""), 3};
  Q7Set(light, Q7A_LIGHT_POWER, word(&power), Q7A_NODE_ORIGIN, word(&origin), 0);
  EXPECT_EQ(get<double>(light, Q7A_LIGHT_POWER), 1);
  EXPECT_EQ(get<Q7Vector>(light, Q7A_NODE_ORIGIN).x, 0);
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_EQ(reports[0], "Power: not a finite number");
  Q7ObjectDelete(light);
}

TEST_F(Scene, UnknownAttributesAreAnswered) {
  Q7Object *mesh = make(Q7C_MESH, "m");
  EXPECT_NE(Q7Set(mesh, 4299999, uint64_t{1}, 0), 0u);
  EXPECT_EQ(Q7Set(mesh, Q7A_NAME, word("n"), Q7A_MESH_SMOOTH, uint64_t{1}, 0), 0u);
  EXPECT_STREQ(mesh->name, "n");
  Q7ObjectDelete(mesh);
}

TEST_F(Scene, AMaterialsHueIsThatOfItsColor) {
  Q7Object *material = make(Q7C_MATERIAL, "m");
  const Q7Vector red = {1, 0.5, 0.5};
  const double third = 1.0 / 3;
  Q7Set(material, Q7A_MATERIAL_COLOR, word(&red), 0);
  EXPECT_DOUBLE_EQ(get<double>(material, Q7A_MATERIAL_SATURATION), 0.5);
  EXPECT_DOUBLE_EQ(get<double>(material, Q7A_MATERIAL_BRIGHTNESS), 1);
  Q7Set(material, Q7A_MATERIAL_HUE, word(&third), 0);
  const auto green = get<Q7Vector>(material, Q7A_MATERIAL_COLOR);
  EXPECT_NEAR(green.x, 0.5, 1e-12);
  EXPECT_NEAR(green.y, 1, 1e-12);
  EXPECT_NEAR(green.z, 0.5, 1e-12);
  Q7ObjectDelete(material);
}

// ---- Places ----

TEST_F(Scene, ACameraLooksAtAPointWithoutBank) {
  Q7Object *camera = make(Q7C_CAMERA, "c");
  const Q7Vector eye = {3, 4, 5}, target = {0, 1, -1};
  Q7Set(camera, Q7A_NODE_ORIGIN, word(&eye), 0);
  EXPECT_EQ(send(camera, Q7M_NODE_LOOK_AT, 0, 0, slot(&target)), 1u);
  const auto frame = get<Q7CoordSys>(camera, Q7A_NODE_FRAME);
  Q7Vector way;
  VSub(&way, &eye, &target);
  VNorm(&way);
  EXPECT_TRUE(VAEq(&frame.norm, &way, 1e-12));
  EXPECT_NEAR(frame.hor.y, 0, 1e-12) << "level";
  EXPECT_GT(frame.vert.y, 0) << "upright";
  EXPECT_EQ(send(camera, Q7M_NODE_LOOK_AT, 0, 0, slot(&eye)), 0u) << "nowhere to look";
  Q7ObjectDelete(camera);
}

TEST_F(Scene, TurningIsClockwiseSeenFromTheTip) {
  Q7Object *mesh = make(Q7C_MESH, "m");
  const Q7Vector up = {0, 1, 0};
  const double quarter = 90;
  EXPECT_EQ(send(mesh, Q7M_NODE_TURN, word(&up), 0, slot(&quarter)), 1u);
  auto frame = get<Q7CoordSys>(mesh, Q7A_NODE_FRAME);
  // About Y, clockwise from above: X goes to Z, Z to -X.
  EXPECT_TRUE(VAEq(&frame.hor, VIdentityZ(), 1e-12));
  const Q7Vector left = {-1, 0, 0};
  EXPECT_TRUE(VAEq(&frame.norm, &left, 1e-12));
  for (int i = 0; i < 3; ++i) send(mesh, Q7M_NODE_TURN, word(&up), 0, slot(&quarter));
  frame = get<Q7CoordSys>(mesh, Q7A_NODE_FRAME);
  EXPECT_TRUE(VAEq(&frame.hor, VIdentityX(), 1e-12)) << "all the way round";
  Q7ObjectDelete(mesh);
}

TEST_F(Scene, TheQuaternionIsTheOrientation) {
  Q7Object *mesh = make(Q7C_MESH, "m");
  const Q7Vector axis = {0, 0, 1};
  Q7Quat q;
  Q7AxAngleToQ(&q, &axis, M_PI / 2);
  Q7Set(mesh, Q7A_NODE_QUATERNION, word(&q), 0);
  const auto frame = get<Q7CoordSys>(mesh, Q7A_NODE_FRAME);
  const Q7Vector down = {0, -1, 0};
  EXPECT_TRUE(VAEq(&frame.hor, &down, 1e-12)) << "(1, 0, 0) about Z by a quarter";
  const auto back = get<Q7Quat>(mesh, Q7A_NODE_QUATERNION);
  EXPECT_NEAR(std::fabs(back.x * q.x + back.y * q.y + back.z * q.z + back.w * q.w), 1, 1e-12);
  const Q7Quat none = {};
  Q7Set(mesh, Q7A_NODE_QUATERNION, word(&none), 0);
  EXPECT_EQ(reports.size(), 1u);
  Q7ObjectDelete(mesh);
}

TEST_F(Scene, GroupsPlaceWhatIsInThem) {
  Q7Object *outer = make(Q7C_GROUP, "outer");
  Q7Object *inner = add(outer, Q7C_GROUP, "inner");
  Q7Object *mesh = add(inner, Q7C_MESH, "m");
  const Q7Vector two = {2, 2, 2}, ten = {10, 0, 0}, one = {1, 0, 0};
  const Q7Vector quarter = {0, 0, 90};
  Q7Set(outer, Q7A_NODE_SCALE, word(&two), 0);
  Q7Set(inner, Q7A_NODE_ORIGIN, word(&ten), Q7A_NODE_ANGLES, word(&quarter), 0);
  Q7Set(mesh, Q7A_NODE_ORIGIN, word(&one), 0);
  const auto world = get<Q7CoordSys>(mesh, Q7A_NODE_WORLD);
  // A bank of 90 degrees turns X towards -Y.
  const Q7Vector expected = {20, -2, 0};
  EXPECT_TRUE(VAEq(&world.orig, &expected, 1e-9)) << world.orig.x << " " << world.orig.y << " " << world.orig.z;
  EXPECT_NEAR(VLen(&world.hor), 2, 1e-12);
  Q7ObjectDelete(outer);
}

// ---- Membership ----

TEST_F(Scene, AGroupHoldsAReferenceOnEachMember) {
  Q7Object *group = make(Q7C_GROUP, "g");
  Q7Object *light = add(group, Q7C_LIGHT, "l");
  EXPECT_EQ(references(light), 1);
  EXPECT_EQ(get<Q7Object *>(light, Q7A_NODE_PARENT), group);
  send(light, Q7M_ADDREF);
  EXPECT_EQ(send(group, Q7M_GROUP_REMOVE, 0, 0, slot(light)), 1u);
  EXPECT_EQ(send(group, Q7M_GROUP_REMOVE, 0, 0, slot(light)), 0u);
  EXPECT_EQ(references(light), 1);
  EXPECT_EQ(get<Q7Object *>(light, Q7A_NODE_PARENT), nullptr);
  EXPECT_EQ(members(group), "");
  send(light, Q7M_RELEASE);
  Q7ObjectDelete(group);
}

TEST_F(Scene, AddingAMemberTakesItFromWhereItWas) {
  Q7Object *first = make(Q7C_GROUP, "first");
  Q7Object *second = make(Q7C_GROUP, "second");
  Q7Object *light = add(first, Q7C_LIGHT, "l");
  EXPECT_EQ(send(second, Q7M_GROUP_ADD, 0, 0, slot(light)), 1u);
  EXPECT_EQ(members(first) + "|" + members(second), "|l ");
  EXPECT_EQ(references(light), 1);
  Q7ObjectDelete(first);
  Q7ObjectDelete(second);
}

TEST_F(Scene, CirclesStrangersAndDeepNestingAreRefused) {
  Q7Object *group = make(Q7C_GROUP, "g");
  Q7Object *inner = add(group, Q7C_GROUP, "inner");
  EXPECT_EQ(send(inner, Q7M_GROUP_ADD, 0, 0, slot(group)), 0u);
  EXPECT_EQ(send(group, Q7M_GROUP_ADD, 0, 0, slot(group)), 0u);
  EXPECT_EQ(send(group, Q7M_GROUP_ADD, 0, 0, nullptr), 0u);
  Q7Object *stranger = Q7ObjectCreate(Q7C_ROOT, 0);
  if (stranger) {
    EXPECT_EQ(send(group, Q7M_GROUP_ADD, 0, 0, slot(stranger)), 0u);
    Q7ObjectDelete(stranger);
  }
  Q7Object *deepest = inner;
  for (int i = 3; i <= Q7GROUP_MAX_DEPTH; ++i) deepest = add(deepest, Q7C_GROUP, "d");
  reports.clear();
  Q7Object *beyond = make(Q7C_GROUP, "beyond");
  EXPECT_EQ(send(deepest, Q7M_GROUP_ADD, 0, 0, slot(beyond)), 0u);
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0], "Groups are nested more than 64 deep");
  Q7ObjectDelete(beyond);
  Q7ObjectDelete(group);
}

TEST_F(Scene, ListMessagesMoveMembersToo) {
  Q7Object *group = make(Q7C_GROUP, "g");
  Q7Object *other = make(Q7C_GROUP, "other");
  auto *list = get<Q7List *>(group, Q7A_GROUP_MEMBERS);
  Q7Object *b = make(Q7C_LIGHT, "b");
  EXPECT_NE(send(b, Q7M_ADDTAIL, 0, 0, slot(list)), 0u);
  Q7Object *a = make(Q7C_LIGHT, "a");
  EXPECT_NE(send(a, Q7M_ADDHEAD, 0, 0, slot(list)), 0u);
  Q7Object *m = make(Q7C_LIGHT, "m");
  EXPECT_NE(send(m, Q7M_INSERT, 0, word(a), slot(list)), 0u);
  Q7Object *z = Q7ObjectCreate(Q7C_LIGHT, Q7A_NAME, word("z"), Q7A_ADD_TO_LIST, word(list), 0);
  EXPECT_EQ(members(group), "a m b z ");
  for (Q7Object *each : {a, b, m, z}) {
    EXPECT_EQ(references(each), 1);
    EXPECT_EQ(get<Q7Object *>(each, Q7A_NODE_PARENT), group);
  }
  // As scripts do it: out of one list, then into another.
  send(m, Q7M_REMOVE);
  EXPECT_EQ(get<Q7Object *>(m, Q7A_NODE_PARENT), nullptr);
  send(m, Q7M_ADDTAIL, 0, 0, slot(get<Q7List *>(other, Q7A_GROUP_MEMBERS)));
  idle();
  EXPECT_EQ(members(group) + "|" + members(other), "a b z |m ");
  EXPECT_EQ(references(m), 1);
  // One that is put nowhere is gone when the idle queue has run.
  send(z, Q7M_REMOVE);
  idle();
  EXPECT_EQ(members(group), "a b ");
  Q7ObjectDelete(other);
  Q7ObjectDelete(group);
}

TEST_F(Scene, AMemberThatIsDeletedLeaves) {
  Q7Object *group = make(Q7C_GROUP, "g");
  Q7Object *a = add(group, Q7C_LIGHT, "a");
  add(group, Q7C_LIGHT, "b");
  Q7ObjectDelete(a);
  EXPECT_EQ(members(group), "b ");
  Q7ObjectDelete(group);
}

TEST_F(Scene, FindsByKindAndName) {
  Q7Object *group = make(Q7C_GROUP, "g");
  Q7Object *inner = add(group, Q7C_GROUP, "inner");
  Q7Object *deep = add(inner, Q7C_LIGHT, "lamp");
  Q7Object *camera = add(group, Q7C_CAMERA, "lamp");
  EXPECT_EQ(send(group, Q7M_GROUP_FIND, Q7C_LIGHT, 0, slot("lamp")), word(deep));
  EXPECT_EQ(send(group, Q7M_GROUP_FIND, Q7C_CAMERA, 0, nullptr), word(camera));
  EXPECT_EQ(send(group, Q7M_GROUP_FIND, Q7C_MESH, 0, nullptr), 0u);
  Q7ObjectDelete(group);
}

// ---- Meshes ----

TEST_F(Scene, AMeshTakesItsBlocks) {
  Q7MeshData data = triangle();
  Q7Object *mesh = Q7ObjectCreate(Q7C_MESH, Q7A_MESH_DATA, word(&data), 0);
  EXPECT_EQ(get<Q7MeshData>(mesh, Q7A_MESH_DATA).points, data.points);
  EXPECT_EQ(get<int32_t>(mesh, Q7A_MESH_TRIANGLES), 1);
  EXPECT_EQ(get<int32_t>(mesh, Q7A_MESH_POINTS), 3);
  Q7ObjectDelete(mesh);
}

TEST_F(Scene, AMeshRefusesCornersThatAreNoPoints) {
  Q7Object *mesh = make(Q7C_MESH, "m");
  Q7MeshData data = triangle();
  data.corners[2] = 3;
  Q7Set(mesh, Q7A_MESH_DATA, word(&data), 0);
  data = triangle();
  data.points[1] = std::numeric_limits<float>::quiet_NaN();
  Q7Set(mesh, Q7A_MESH_DATA, word(&data), 0);
  EXPECT_EQ(get<int32_t>(mesh, Q7A_MESH_TRIANGLES), 0);
  EXPECT_EQ(reports.size(), 2u);
  Q7ObjectDelete(mesh);
}

// ---- Streams and copies ----

TEST_F(Scene, WhatIsSavedIsLoadedAndSavedAgain) {
  Q7Object *scene = make(Q7C_SCENE, "scene");
  Q7Object *group = add(scene, Q7C_GROUP, "g");
  Q7Object *mesh = add(group, Q7C_MESH, "m");
  Q7MeshData data = triangle();
  const Q7Vector origin = {1, 2, 3};
  Q7Set(mesh, Q7A_MESH_DATA, word(&data), Q7A_MESH_MATERIAL, word("clay"), Q7A_NODE_ORIGIN, word(&origin), 0);
  add(scene, Q7C_LIGHT, "l");
  add(scene, Q7C_CAMERA, "c");
  add(scene, Q7C_MATERIAL, "clay");
  Q7Set(scene, Q7A_SCENE_SAMPLES, uint64_t{16}, Q7A_SCENE_CAMERA, word("c"), 0);
  ASSERT_TRUE(save(scene, path("a.q7d")));
  Q7ObjectDelete(scene);
  Q7Object *loaded = load(path("a.q7d"));
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(members(loaded), "g l c clay ");
  EXPECT_EQ(get<int32_t>(loaded, Q7A_SCENE_SAMPLES), 16);
  auto *again = reinterpret_cast<Q7Object *>(send(loaded, Q7M_GROUP_FIND, Q7C_MESH, 0, nullptr));
  ASSERT_NE(again, nullptr);
  EXPECT_STREQ(get<const char *>(again, Q7A_MESH_MATERIAL), "clay");
  EXPECT_EQ(get<Q7Vector>(again, Q7A_NODE_ORIGIN).z, 3);
  EXPECT_EQ(get<Q7MeshData>(again, Q7A_MESH_DATA).points[7], 1);
  ASSERT_TRUE(save(loaded, path("b.q7d")));
  EXPECT_EQ(bytes(path("a.q7d")), bytes(path("b.q7d")));
  Q7ObjectDelete(loaded);
}

// The bytes of a mesh of one triangle: its own part of the stream, highest byte first.
TEST_F(Scene, AMeshIsWrittenHighestByteFirst) {
  Q7Object *mesh = make(Q7C_MESH, "");
  Q7MeshData data = triangle();
  data.points[0] = 1;
  Q7Set(mesh, Q7A_MESH_DATA, word(&data), Q7A_MESH_MATERIAL, word("ab"), Q7A_MESH_SMOOTH, uint64_t{1}, 0);
  ASSERT_TRUE(save(mesh, path("m.q7d")));
  Q7ObjectDelete(mesh);
  const std::string expected = std::string("\0\3ab\0", 5) + std::string("\0\0\0\1", 4)  // material, smooth
                               + std::string("\0\0\0\3", 4) +
                               std::string("\x3f\x80\0\0", 4)                           // three points, the first 1
                               + std::string(8, '\0') + std::string("\x3f\x80\0\0", 4)  // ... 0 0, 1
                               + std::string(12, '\0') + std::string("\x3f\x80\0\0", 4) + std::string(4, '\0') +
                               std::string("\0\0\0\1\0\0\0\0\0\0\0\1\0\0\0\2", 16);  // a triangle: 0 1 2
  const std::string all = bytes(path("m.q7d"));
  const size_t at = all.find(expected);
  ASSERT_NE(at, std::string::npos);
  EXPECT_LE(all.size() - at - expected.size(), 1u) << "nothing but padding follows";
}

TEST_F(Scene, CutStreamsLoadNothing) {
  Q7Object *scene = make(Q7C_SCENE, "scene");
  Q7Object *mesh = add(scene, Q7C_MESH, "m");
  Q7MeshData data = triangle();
  Q7Set(mesh, Q7A_MESH_DATA, word(&data), Q7A_MESH_MATERIAL, word("clay"), 0);
  add(scene, Q7C_LIGHT, "l");
  ASSERT_TRUE(save(scene, path("a.q7d")));
  Q7ObjectDelete(scene);
  const auto size = std::filesystem::file_size(path("a.q7d"));
  // The last byte may be padding.
  for (size_t length = 0; length + 1 < size; ++length) {
    std::filesystem::copy_file(path("a.q7d"), path("cut.q7d"), std::filesystem::copy_options::overwrite_existing);
    std::filesystem::resize_file(path("cut.q7d"), length);
    EXPECT_EQ(load(path("cut.q7d")), nullptr) << length;
  }
}

TEST_F(Scene, LyingCountsAskForNoMemory) {
  Q7Object *mesh = make(Q7C_MESH, "");
  ASSERT_TRUE(save(mesh, path("a.q7d")));
  Q7ObjectDelete(mesh);
  std::string content = bytes(path("a.q7d"));
  // The count of points stands in front of the count of triangles at the end.
  for (const char *count : {"\x05\xf5\xe1\x00", "\xff\xff\xff\xff"}) {
    std::string lie = content;
    const size_t end = lie.find_last_not_of('\0') == std::string::npos ? 0 : lie.size();
    lie.replace(end - 8, 4, count, 4);
    std::ofstream(path("lie.q7d"), std::ios::binary) << lie;
    AllocGate gate;
    EXPECT_EQ(load(path("lie.q7d")), nullptr);
    EXPECT_LT(gate.count(), 200);
  }
}

// The header of an object stream, as anybody may write it.
void write_header(Q7Object *stream, uint32_t clid, std::initializer_list<uint32_t> chain) {
  send(stream, Q7M_FILE_WRITE32, 0, 0, reinterpret_cast<Q7TagItem *>(uintptr_t{clid}));
  for (uint32_t each : chain) {
    send(stream, Q7M_FILE_WRITE32, 0, 0, reinterpret_cast<Q7TagItem *>(uintptr_t{each}));
    send(stream, Q7M_FILE_WRITE16, 0, 0, nullptr);
  }
  send(stream, Q7M_FILE_WRITE_COUNTED, 0, 0, slot("x"));
}
// A group up to its members, of which there is one.
void write_group(Q7Object *stream) {
  write_header(stream, Q7C_GROUP, {Q7C_GROUP, Q7C_NODE, Q7C_ROOT});
  const double one = 1;
  for (int i = 0; i < 9; ++i) send(stream, Q7M_FILE_WRITE_DOUBLE, 0, 0, slot(&one));
  send(stream, Q7M_FILE_WRITE32, 0, 0, reinterpret_cast<Q7TagItem *>(uintptr_t{1}));
}

// Whatever class a stream names for a member, a group takes nodes alone and survives the others.
TEST_F(Scene, MembersOfOtherClassesAreRefused) {
  uint32_t id = 0;
  for (Q7Class *cl = Q7ClassNext(0, &id); cl; cl = Q7ClassNext(id + 1, &id)) {
    if (Q7ClassIdIsOfKind(id, Q7C_NODE)) continue;
    Q7Object *file = open(path("other.q7d"), "w");
    ASSERT_NE(file, nullptr);
    write_group(file);
    write_header(file, id, {id, Q7C_ROOT});
    Q7ObjectDelete(file);
    EXPECT_EQ(load(path("other.q7d")), nullptr) << id;
  }
}

TEST_F(Scene, DeepNestingInAStreamIsRefused) {
  Q7Object *file = open(path("deep.q7d"), "w");
  ASSERT_NE(file, nullptr);
  for (int i = 0; i < 5000; ++i) write_group(file);
  Q7ObjectDelete(file);
  EXPECT_EQ(load(path("deep.q7d")), nullptr);
  ASSERT_FALSE(reports.empty());
  EXPECT_EQ(reports[0], "Groups are nested more than 64 deep");
}

TEST_F(Scene, ACopyHasEverythingOfItsOwn) {
  Q7Object *scene = make(Q7C_SCENE, "scene");
  Q7Object *mesh = add(scene, Q7C_MESH, "m");
  Q7MeshData data = triangle();
  Q7Set(mesh, Q7A_MESH_DATA, word(&data), Q7A_MESH_MATERIAL, word("clay"), 0);
  auto *copy = reinterpret_cast<Q7Object *>(send(scene, Q7M_COPY));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(members(copy), "m ");
  auto *other = reinterpret_cast<Q7Object *>(send(copy, Q7M_GROUP_FIND, Q7C_MESH, 0, nullptr));
  ASSERT_NE(other, nullptr);
  EXPECT_NE(other, mesh);
  EXPECT_NE(get<Q7MeshData>(other, Q7A_MESH_DATA).points, get<Q7MeshData>(mesh, Q7A_MESH_DATA).points);
  ASSERT_TRUE(save(scene, path("a.q7d")));
  Q7ObjectDelete(scene);
  ASSERT_TRUE(save(copy, path("b.q7d")));
  EXPECT_EQ(bytes(path("a.q7d")), bytes(path("b.q7d")));
  Q7ObjectDelete(copy);
}

TEST_F(Scene, ExhaustionLeavesNothingBehind) {
  Q7Object *scene = make(Q7C_SCENE, "scene");
  Q7Object *mesh = add(scene, Q7C_MESH, "m");
  Q7MeshData data = triangle();
  Q7Set(mesh, Q7A_MESH_DATA, word(&data), Q7A_MESH_MATERIAL, word("clay"), 0);
  add(scene, Q7C_LIGHT, "l");
  ASSERT_TRUE(save(scene, path("a.q7d")));
  bool loaded = false;
  const Capture quiet(1);
  for (int64_t n = 1; !loaded && n < 200; ++n) {
    AllocGate gate;
    gate.fail(n);
    Q7Object *obj = load(path("a.q7d"));
    loaded = gate.refused() == 0;
    gate.pass();
    if (obj) Q7ObjectDelete(obj);
  }
  EXPECT_TRUE(loaded);
  for (int64_t n = 1; n < 20; ++n) {
    AllocGate gate;
    gate.fail(n);
    auto *copy = reinterpret_cast<Q7Object *>(send(scene, Q7M_COPY));
    gate.pass();
    if (copy) Q7ObjectDelete(copy);
  }
  Q7ObjectDelete(scene);
}

}  // namespace
