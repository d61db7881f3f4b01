// mesh: triangles as two flat arrays. In a stream they are blocks of 32-bit words, highest byte first whatever the
// stream's own order, so that a scene is the same bytes in a file and on a connection.
#include <endian.h>

#include <cmath>
#include <cstring>

#include "core/q7memory.h"
#include "examples/studio/scene/sceneclass.hpp"
#include "io/q7file.h"

namespace scene {

namespace {

struct Mesh {
  char *material;  // Q7A_MESH_MATERIAL
  int32_t smooth;  // Q7A_MESH_SMOOTH
  Q7MeshData own;  // Q7A_MESH_DATA
};

const Field fields[] = {
    {"Material", Q7A_MESH_MATERIAL, Q7TID_STRING, offsetof(Mesh, material)},
    {"Smooth", Q7A_MESH_SMOOTH, Q7TID_INT, offsetof(Mesh, smooth), 0, 1},
    {"Triangles", Q7A_MESH_TRIANGLES, Q7TID_INT, Field::kNoData, 0, 0, Q7PAF_READ_ONLY},
    {"Points", Q7A_MESH_POINTS, Q7TID_INT, Field::kNoData, 0, 0, Q7PAF_READ_ONLY},
};
Q7PublicAttribute rows[kMaxFields + 1];

static_assert(sizeof(float) == sizeof(uint32_t));
constexpr uint64_t kBlockWords = 16384;  // of one message to the stream

uint64_t bytes(uint32_t triples) { return uint64_t{triples} * 3 * sizeof(uint32_t); }

void release(Q7MeshData &mesh) {
  Q7FreeMem(mesh.points, bytes(mesh.point_count));
  Q7FreeMem(mesh.corners, bytes(mesh.triangle_count));
  mesh = {};
}

bool sound(const Q7MeshData &mesh) {
  if (mesh.point_count > Q7MESH_MAX_POINTS || mesh.triangle_count > Q7MESH_MAX_POINTS) {
    report("A mesh has more than %d points or triangles", int{Q7MESH_MAX_POINTS});
    return false;
  }
  for (uint64_t i = 0; i < uint64_t{mesh.triangle_count} * 3; ++i) {
    if (mesh.corners[i] < mesh.point_count) continue;
    report("A triangle has a corner that is no point");
    return false;
  }
  for (uint64_t i = 0; i < uint64_t{mesh.point_count} * 3; ++i) {
    // Far beyond this, distances between points are no numbers any more.
    if (std::fabs(mesh.points[i]) <= 1e15f) continue;
    report("A point lies nowhere");
    return false;
  }
  return true;
}

bool set(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  if (item.tag != Q7A_MESH_DATA) return false;
  auto *given = reinterpret_cast<Q7MeshData *>(item.data);
  if (!given) return true;
  Q7MeshData taken = *given;
  Mesh &mesh = data<Mesh>(cl, obj);
  if (sound(taken)) {
    release(mesh.own);
    mesh.own = taken;
  } else {
    release(taken);
  }
  return true;
}

bool get(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  const Mesh &mesh = data<Mesh>(cl, obj);
  switch (item.tag) {
    case Q7A_MESH_DATA: return answer(item, mesh.own);
    case Q7A_MESH_TRIANGLES: return answer(item, static_cast<int32_t>(mesh.own.triangle_count));
    case Q7A_MESH_POINTS: return answer(item, static_cast<int32_t>(mesh.own.point_count));
    default: return false;
  }
}

// ---- Streams ----

bool move_block(Q7Object *stream, uint32_t method, void *buffer, uint64_t words) {
  Q7TagItem tags[] = {{Q7A_FILE_BUFFER, word(buffer)}, {Q7A_FILE_LENGTH, words * sizeof(uint32_t)}, {Q7TAG_END, 0}};
  return send(stream, method, 0, 0, tags) != 0;
}

bool save_words(Q7Object *stream, const void *from, uint32_t triples) {
  if (!send(stream, Q7M_FILE_WRITE32, 0, 0, slot(triples))) return false;
  uint32_t block[kBlockWords];
  const char *next = static_cast<const char *>(from);
  for (uint64_t left = uint64_t{triples} * 3; left;) {
    const uint64_t n = left < kBlockWords ? left : kBlockWords;
    std::memcpy(block, next, n * sizeof(uint32_t));
    for (uint64_t i = 0; i < n; ++i) block[i] = htobe32(block[i]);
    if (!move_block(stream, Q7M_FILE_WRITE, block, n)) return false;
    next += n * sizeof(uint32_t);
    left -= n;
  }
  return true;
}

// The count may be a lie: memory grows with what has really arrived.
bool read_words(Q7Object *stream, uint32_t *&to, uint32_t &triples) {
  uint32_t count = 0;
  to = nullptr;
  triples = 0;
  if (!send(stream, Q7M_FILE_READ32, 0, 0, slot(&count))) return false;
  if (count > Q7MESH_MAX_POINTS) {
    report("A mesh has more than %d points or triangles", int{Q7MESH_MAX_POINTS});
    return false;
  }
  const uint64_t words = uint64_t{count} * 3;
  uint64_t room = 0;
  uint64_t done = 0;
  bool arrived = true;
  while (arrived && done < words) {
    if (done == room) {
      uint64_t grown = room ? room * 2 : kBlockWords * 3;
      if (grown > words) grown = words;
      auto *block = static_cast<uint32_t *>(Q7ReAllocMem(to, room * sizeof(uint32_t), grown * sizeof(uint32_t), 0));
      if (!block) break;
      to = block;
      room = grown;
    }
    uint64_t n = room - done < kBlockWords ? room - done : kBlockWords;
    arrived = move_block(stream, Q7M_FILE_READ, to + done, n);
    for (uint64_t i = 0; i < n && arrived; ++i) to[done + i] = be32toh(to[done + i]);
    done += arrived ? n : 0;
  }
  if (done == words) {
    triples = count;
    return true;
  }
  Q7FreeMem(to, room * sizeof(uint32_t));
  to = nullptr;
  return false;
}

uint64_t save(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!dispatch(mesh_class, cl, obj, Q7M_SAVE, a, b, tags)) return 0;
  const Q7MeshData &own = data<Mesh>(cl, obj).own;
  Q7Object *stream = stream_of(tags);
  return save_words(stream, own.points, own.point_count) && save_words(stream, own.corners, own.triangle_count);
}

uint64_t read(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!dispatch(mesh_class, cl, obj, Q7M_READ, a, b, tags)) return 0;
  Q7Object *stream = stream_of(tags);
  Q7MeshData arrived = {};
  uint32_t *points = nullptr;
  const bool complete =
      read_words(stream, points, arrived.point_count) && read_words(stream, arrived.corners, arrived.triangle_count);
  arrived.points = reinterpret_cast<float *>(points);
  Mesh &mesh = data<Mesh>(cl, obj);
  if (complete && sound(arrived)) {
    release(mesh.own);
    mesh.own = arrived;
    return 1;
  }
  release(arrived);
  return 0;
}

// ---- Life ----

void *copy_block(const void *block, uint64_t size) {
  void *made = block ? Q7AllocMem(size, 0) : nullptr;
  return made ? std::memcpy(made, block, size) : nullptr;
}

uint64_t copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *made = reinterpret_cast<Q7Object *>(dispatch(mesh_class, cl, obj, Q7M_COPY, a, b, tags));
  if (!made) return 0;
  Q7MeshData &own = data<Mesh>(cl, made).own;
  const Q7MeshData original = own;
  own.points = static_cast<float *>(copy_block(original.points, bytes(original.point_count)));
  own.corners = static_cast<uint32_t *>(copy_block(original.corners, bytes(original.triangle_count)));
  if ((original.points && !own.points) || (original.corners && !own.corners)) {
    send(made, Q7M_DISPOSE);
    return 0;
  }
  return word(made);
}

uint64_t mesh_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_DISPOSE: release(data<Mesh>(cl, obj).own); break;
    case Q7M_COPY: return copy(cl, obj, a, b, tags);
    case Q7M_SAVE: return save(cl, obj, a, b, tags);
    case Q7M_READ: return read(cl, obj, a, b, tags);
    default: break;
  }
  return dispatch(mesh_class, cl, obj, method, a, b, tags);
}

}  // namespace

const ClassDef mesh_class = {.id = Q7C_MESH,
                             .super = Q7C_NODE,
                             .name = "mesh",
                             .description = "Mesh",
                             .dispatch = mesh_dispatch,
                             .size = sizeof(Mesh),
                             .version = 1,
                             .fields = fields,
                             .field_count = sizeof fields / sizeof fields[0],
                             .defaults = nullptr,
                             .set = set,
                             .get = get,
                             .rows = rows};

}  // namespace scene
