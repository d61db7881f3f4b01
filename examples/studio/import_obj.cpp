// import_obj: the callbacks of the loader library fill flat arrays: the vertices of the file as they come, and for each
// mesh in the making the numbers of its corners. At the end each mesh takes the vertices it uses. Nothing is kept a
// face, so two million triangles take a few dozen megabytes.
#include "examples/studio/import_obj.hpp"

#include <tiny_obj_loader.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "core/q7memory.h"
#include "examples/studio/furnish.hpp"
#include "examples/studio/scene/scene.h"
#include "examples/studio/session.hpp"

namespace studio {

namespace {

constexpr size_t kMostParts = 10000;
constexpr size_t kMostPoints = Q7MESH_MAX_POINTS;
constexpr uintmax_t kLargestMaterialFile = 16 << 20;  // bytes
constexpr size_t kLongestName = 190;

struct Part {
  std::string name;
  std::string material;
  std::vector<uint32_t> corners;
};

struct Import {
  std::string path;
  std::vector<float> points;
  std::vector<Part> parts;
  std::map<std::pair<std::string, std::string>, size_t> by_name;
  std::string object, material;
  size_t current = SIZE_MAX;  // part that faces go to
  std::vector<tinyobj::material_t> materials;
  long faces = 0;
  size_t triangles = 0;
  std::vector<uint32_t> face;
};

// Thrown through the loader, which holds nothing that a destructor does not free.
void check(Import &import, bool holds, Text text, long number = 0) {
  if (!holds) throw Failure(text, import.path.c_str(), number);
}

void on_vertex(void *data, float x, float y, float z, float) {
  auto &import = *static_cast<Import *>(data);
  const auto number = static_cast<long>(import.points.size() / 3 + 1);
  check(import,
        std::isfinite(x) && std::isfinite(y) && std::isfinite(z) && std::fabs(x) < 1e12f && std::fabs(y) < 1e12f &&
            std::fabs(z) < 1e12f,
        Text::kObjBadPoint, number);
  check(import, import.points.size() / 3 < kMostPoints, Text::kObjTooLarge);
  import.points.insert(import.points.end(), {x, y, z});
  if ((number & 0xFFFF) == 0) throw_if_interrupted();
}

Part &part(Import &import) {
  if (import.current == SIZE_MAX) {
    const auto [entry, is_new] = import.by_name.try_emplace({import.object, import.material}, import.parts.size());
    if (is_new) {
      check(import, import.parts.size() < kMostParts, Text::kObjTooLarge);
      import.parts.push_back({import.object, import.material, {}});
    }
    import.current = entry->second;
  }
  return import.parts[import.current];
}

// Corners come as they stand in the file: from 1, or negative ones counted back from the newest vertex; 0 is none.
void on_face(void *data, tinyobj::index_t *corners, int count) {
  auto &import = *static_cast<Import *>(data);
  ++import.faces;
  if ((import.faces & 0xFFFF) == 0) throw_if_interrupted();
  const auto points = static_cast<int64_t>(import.points.size() / 3);
  check(import, count >= 3, Text::kObjBadFace, import.faces);
  import.face.clear();
  for (int i = 0; i < count; ++i) {
    const int64_t given = corners[i].vertex_index;
    const int64_t corner = given < 0 ? points + given : given - 1;
    check(import, given != 0 && corner >= 0 && corner < points, Text::kObjBadFace, import.faces);
    import.face.push_back(static_cast<uint32_t>(corner));
  }
  std::vector<uint32_t> &to = part(import).corners;
  import.triangles += import.face.size() - 2;
  check(import, import.triangles <= kMostPoints, Text::kObjTooLarge);
  for (size_t i = 2; i < import.face.size(); ++i) {
    to.insert(to.end(), {import.face[0], import.face[i - 1], import.face[i]});
  }
}

std::string tidy(const char *name) {
  std::string text = one_line(name ? name : "");
  if (text.size() > kLongestName) text.resize(kLongestName);
  return text;
}

void on_object(void *data, const char *name) {
  auto &import = *static_cast<Import *>(data);
  import.object = tidy(name);
  import.current = SIZE_MAX;
}

void on_use(void *data, const char *name, int) {
  auto &import = *static_cast<Import *>(data);
  import.material = tidy(name);
  import.current = SIZE_MAX;
}

// Reads material files that lie beside the mesh, and nothing else: a mesh file from anywhere must not make the studio
// read what it names.
class MaterialFiles : public tinyobj::MaterialReader {
 public:
  explicit MaterialFiles(const std::string &mesh) : folder_(std::filesystem::path(mesh).parent_path()) {}
  bool operator()(const std::string &name, std::vector<tinyobj::material_t> *materials,
                  std::map<std::string, int> *numbers, std::string *warning, std::string *error) override {
    std::error_code failed;
    const std::filesystem::path path = folder_ / name;
    if (name.find('/') != std::string::npos || !std::filesystem::is_regular_file(path, failed) ||
        std::filesystem::file_size(path, failed) > kLargestMaterialFile) {
      return false;
    }
    std::ifstream file(path);
    const size_t before = materials->size();
    tinyobj::LoadMtl(numbers, materials, &file, warning, error);
    return materials->size() > before;
  }

 private:
  std::filesystem::path folder_;
};

void on_materials(void *data, const tinyobj::material_t *materials, int count) {
  auto &import = *static_cast<Import *>(data);
  check(import, static_cast<size_t>(count) <= kMostParts, Text::kObjTooLarge);
  import.materials.assign(materials, materials + count);
}

// ---- Into objects ----

// Gives a mesh the vertices it uses, in the order of their first use. `numbers` holds, for each vertex of the file, its
// number in the mesh plus one; 0 for the unused, before and after.
Q7MeshData take_points(Import &import, Part &from, std::vector<uint32_t> &numbers) {
  std::vector<uint32_t> used;
  for (uint32_t &corner : from.corners) {
    uint32_t &number = numbers[corner];
    if (number == 0) {
      used.push_back(corner);
      number = static_cast<uint32_t>(used.size());
    }
    corner = number - 1;
  }
  Q7MeshData mesh = {};
  mesh.point_count = static_cast<uint32_t>(used.size());
  mesh.triangle_count = static_cast<uint32_t>(from.corners.size() / 3);
  mesh.points = static_cast<float *>(Q7AllocMem(used.size() * 3 * sizeof(float), 0));
  mesh.corners = static_cast<uint32_t *>(Q7AllocMem(from.corners.size() * sizeof(uint32_t), 0));
  if (!mesh.points || !mesh.corners) {
    Q7FreeMem(mesh.points, 0);
    Q7FreeMem(mesh.corners, 0);
    throw Failure(Text::kNoMemory);
  }
  for (size_t i = 0; i < used.size(); ++i) {
    std::memcpy(mesh.points + i * 3, &import.points[size_t{used[i]} * 3], 3 * sizeof(float));
    numbers[used[i]] = 0;
  }
  std::memcpy(mesh.corners, from.corners.data(), from.corners.size() * sizeof(uint32_t));
  from.corners = {};
  return mesh;
}

void add_meshes(Import &import, Q7Object *scene) {
  std::vector<uint32_t> numbers(import.points.size() / 3);
  int unnamed = 0;
  for (Part &from : import.parts) {
    if (from.corners.empty()) continue;
    std::string name = from.name.empty() ? from.material : from.name;
    if (name.empty() || find_node(scene, Q7C_NODE, name.c_str())) name += "mesh" + std::to_string(++unnamed);
    Q7MeshData mesh = take_points(import, from, numbers);
    add_node(scene, Q7C_MESH, name.c_str(),
             {{Q7A_MESH_DATA, word(&mesh)}, {Q7A_MESH_SMOOTH, 1}, {Q7A_MESH_MATERIAL, word(from.material.c_str())}});
  }
}

// Numbers of a statement that the loader passes on as it stands.
int numbers_of(const tinyobj::material_t &from, const char *key, double *values, int count) {
  const auto found = from.unknown_parameter.find(key);
  if (found == from.unknown_parameter.end()) return 0;
  std::istringstream words(found->second);
  words.imbue(std::locale::classic());
  int read = 0;
  while (read < count && words >> values[read]) ++read;
  return read;
}

void add_material(Q7Object *scene, const tinyobj::material_t &from) {
  const std::string name = tidy(from.name.c_str());
  double color[3] = {from.diffuse[0], from.diffuse[1], from.diffuse[2]};
  double shine = from.shininess > 1 ? from.shininess : 40;
  double gloss = std::fmax(from.specular[0], std::fmax(from.specular[1], from.specular[2]));
  double second[3] = {color[0] * 0.3, color[1] * 0.3, color[2] * 0.3};
  double texture = 0, octaves = 4, mirror = 0, size = 1;
  numbers_of(from, "q7_second", second, 3);
  numbers_of(from, "q7_texture", &texture, 1);
  numbers_of(from, "q7_octaves", &octaves, 1);
  numbers_of(from, "q7_mirror", &mirror, 1);
  numbers_of(from, "q7_gloss", &gloss, 1);
  numbers_of(from, "q7_scale", &size, 1);
  const Q7Vector scale = {size, size, size};
  const auto kind = texture >= 0 && texture <= int{Q7TEXTURE_CELLS} ? static_cast<uint64_t>(texture) : 0;
  add_node(scene, Q7C_MATERIAL, name.c_str(),
           {{Q7A_MATERIAL_COLOR, word(&color[0])},
            {Q7A_MATERIAL_SECOND, word(&second[0])},
            {Q7A_MATERIAL_TEXTURE, kind},
            {Q7A_MATERIAL_OCTAVES, word(&octaves)},
            {Q7A_MATERIAL_GLOSS, word(&gloss)},
            {Q7A_MATERIAL_SHINE, word(&shine)},
            {Q7A_MATERIAL_MIRROR, word(&mirror)},
            {Q7A_NODE_SCALE, word(&scale)}});
}

void read_file(Import &import) {
  std::ifstream file(import.path);
  tinyobj::callback_t callbacks;
  callbacks.vertex_cb = on_vertex;
  callbacks.index_cb = on_face;
  callbacks.object_cb = on_object;
  callbacks.usemtl_cb = on_use;
  callbacks.mtllib_cb = on_materials;
  MaterialFiles materials(import.path);
  std::string warning, error;
  const bool read = tinyobj::LoadObjWithCallback(file, callbacks, &import, &materials, &warning, &error);
  if (!read || file.bad()) throw Failure(Text::kDamaged, import.path.c_str());
}

}  // namespace

Referenced import_obj(const std::string &path) {
  Import import;
  import.path = path;
  read_file(import);
  if (import.triangles == 0) throw Failure(Text::kObjNoTriangles, path.c_str());
  import.parts.shrink_to_fit();
  Referenced scene(Q7ObjectCreate(Q7C_SCENE, Q7A_NAME, word("scene"), 0));
  if (!scene) throw failure_of(path, Text::kNoMemory);
  for (const tinyobj::material_t &each : import.materials) add_material(scene.get(), each);
  add_meshes(import, scene.get());
  furnish(scene.get());
  return scene;
}

}  // namespace studio
