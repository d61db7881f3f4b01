// node: everything that has a place. The place is kept as origin, angles and scale, which is what people edit; frames,
// quaternions and directions are made of it.
#include "examples/studio/scene/node.hpp"

#include <cmath>

#include "app/q7idle.h"
#include "core/q7context.h"
#include "core/q7lists.h"
#include "math/q7angles.h"
#include "math/q7coordsys.h"
#include "math/q7quat.h"

namespace scene {

namespace {

constexpr double kDegree = M_PI / 180;

const Field fields[] = {
    {"Origin", Q7A_NODE_ORIGIN, Q7TID_VECTOR, offsetof(Node, origin)},
    {"Angles", Q7A_NODE_ANGLES, Q7TID_VECTOR, offsetof(Node, angles), -1e6, 1e6},
    {"Scale", Q7A_NODE_SCALE, Q7TID_VECTOR, offsetof(Node, scale), -1e6, 1e6},
    {"Parent", Q7A_NODE_PARENT, Q7TID_OBJECT2, Field::kNoData, 0, 0, Q7PAF_READ_ONLY},
    {"Quaternion", Q7A_NODE_QUATERNION, Q7TID_VECTOR4},
    {"Target", Q7A_NODE_TARGET, Q7TID_VECTOR},
};
Q7PublicAttribute rows[kMaxFields + 1];

void set_angles(Node &n, const double *radians) {
  n.angles = {radians[0] / kDegree, radians[1] / kDegree, radians[2] / kDegree};
}

void get_angles(const Node &n, double *radians) {
  radians[0] = n.angles.x * kDegree;
  radians[1] = n.angles.y * kDegree;
  radians[2] = n.angles.z * kDegree;
}

Q7Quat quaternion(const Node &n) {
  double angles[3];
  get_angles(n, angles);
  Q7Quat q;
  Q7HPBToQ(&q, angles);
  return q;
}

bool set_quaternion(Node &n, const Q7Quat *given) {
  if (!given) return true;
  Q7Quat q = *given;
  const double length = q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
  if (!std::isfinite(length) || length < 1e-12) {
    report("Quaternion: not a rotation");
    return true;
  }
  double angles[3];
  Q7QToHPB(&q, angles);
  set_angles(n, angles);
  return true;
}

// The node's place in its group.
Q7CoordSys frame(const Node &n) {
  double angles[3];
  get_angles(n, angles);
  Q7CoordSys cs;
  Q7CSIdentity(&cs);
  cs.orig = n.origin;
  Q7CsSetAngles(&cs, nullptr, angles);
  VFMul(&cs.hor, n.scale.x);
  VFMul(&cs.vert, n.scale.y);
  VFMul(&cs.norm, n.scale.z);
  return cs;
}

Q7CoordSys world(Q7Object *obj) {
  Q7CoordSys cs = frame(node(obj));
  for (Q7Object *group = node(obj).parent; group; group = node(group).parent) {
    const Q7CoordSys outer = frame(node(group));
    Q7CsUnmapCs(&cs, &cs, &outer);
  }
  return cs;
}

bool look_at(Node &n, const Q7Vector *point) {
  if (!point) return false;
  Q7Vector direction;
  VSub(&direction, &n.origin, point);
  const double distance = TNorm(&direction);
  if (!std::isfinite(distance) || distance < 1e-9) return false;
  double heading = 0;
  const double pitch = Q7DirToHP(&heading, &direction);
  const double angles[3] = {heading, pitch, 0};
  set_angles(n, angles);
  return true;
}

Q7Vector target(const Node &n) {
  Q7CoordSys cs = frame(n);
  Q7CsRemoveScale(&cs);
  Q7Vector point;
  VAdd(&point, &cs.orig, &cs.norm);
  return point;
}

// The turn acts after what the node is turned already, so its matrix stands on the left.
bool turn(Node &n, const Q7Vector *axis, const double *degrees) {
  if (!axis || !degrees || !std::isfinite(*degrees) || !std::isfinite(VLen(axis))) return false;
  Q7Quat q = quaternion(n);
  Q7Matrix now, more;
  Q7QToMatrix(&q, &now);
  Q7MxRotate(&more, VIdentityO(), axis, *degrees * kDegree);
  Q7MxFConcatLeft(&now, &more);
  double angles[3];
  Q7MxToHPB(&now, angles);
  set_angles(n, angles);
  return true;
}

// The messages that link and unlink any object move a node into and out of groups. A group that a node leaves in this
// way gives its reference back a little later, so that the node survives until it was put somewhere else.
uint64_t remove(Q7Object *obj) {
  if (!node(obj).parent) {
    link(obj, Q7M_REMOVE, 0, nullptr);
    return word(obj);
  }
  send(obj, Q7M_ADDREF);
  leave_group(obj);
  Q7AppDoMsgAWhenIdle(Q7ApplicationContext, obj, Q7M_RELEASE, nullptr);
  return word(obj);
}

uint64_t put(Q7Object *obj, uint32_t method, uint64_t behind, Q7List *list) {
  const auto *before = reinterpret_cast<const Q7Node *>(behind);
  if (before == reinterpret_cast<const Q7Node *>(obj) || (before && !Q7IsInList(list, before))) return 0;
  if (Q7Object *group = group_of_list(list)) return enter_group(group, obj, method, behind);
  remove(obj);
  if (list) link(obj, method, behind, list);
  return list != nullptr;
}

bool set(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  Node &n = data<Node>(cl, obj);
  switch (item.tag) {
    case Q7A_NODE_QUATERNION: return set_quaternion(n, reinterpret_cast<const Q7Quat *>(item.data));
    case Q7A_NODE_TARGET: look_at(n, reinterpret_cast<const Q7Vector *>(item.data)); return true;
    case Q7A_NODE_PARENT:
      if (auto *group = reinterpret_cast<Q7Object *>(item.data)) {
        enter_group(group, obj);
      } else {
        remove(obj);
      }
      return true;
    // As the root class has it; a group wants to know.
    case Q7A_ADD_TO_LIST: return put(obj, Q7M_ADDTAIL, 0, reinterpret_cast<Q7List *>(item.data)) != 0;
    default: return false;
  }
}

bool get(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  const Node &n = data<Node>(cl, obj);
  switch (item.tag) {
    case Q7A_NODE_PARENT: return answer(item, n.parent);
    case Q7A_NODE_QUATERNION: return answer(item, quaternion(n));
    case Q7A_NODE_TARGET: return answer(item, target(n));
    case Q7A_NODE_FRAME: return answer(item, frame(n));
    case Q7A_NODE_WORLD: return answer(item, world(obj));
    default: return false;
  }
}

uint64_t dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  // Whoever disposes of a member takes it out of the group that way.
  if (data<Node>(cl, obj).parent) link(obj, Q7M_REMOVE, 0, nullptr);
  return dispatch(node_class, cl, obj, Q7M_DISPOSE, a, b, tags);
}

uint64_t copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *made = reinterpret_cast<Q7Object *>(dispatch(node_class, cl, obj, Q7M_COPY, a, b, tags));
  if (made) data<Node>(cl, made).parent = nullptr;
  return word(made);
}

uint64_t node_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_DISPOSE: return dispose(cl, obj, a, b, tags);
    case Q7M_ADDHEAD:
    case Q7M_ADDTAIL: return put(obj, method, 0, reinterpret_cast<Q7List *>(tags));
    case Q7M_INSERT: return put(obj, method, b, reinterpret_cast<Q7List *>(tags));
    case Q7M_REMOVE: return remove(obj);
    case Q7M_COPY: return copy(cl, obj, a, b, tags);
    case Q7M_NODE_TURN:
      return turn(data<Node>(cl, obj), reinterpret_cast<const Q7Vector *>(a), reinterpret_cast<const double *>(tags));
    case Q7M_NODE_LOOK_AT: return look_at(data<Node>(cl, obj), reinterpret_cast<const Q7Vector *>(tags));
    default: return dispatch(node_class, cl, obj, method, a, b, tags);
  }
}

}  // namespace

const ClassDef node_class = {.id = Q7C_NODE,
                             .super = Q7C_ROOT,
                             .name = "node",
                             .description = "Node",
                             .dispatch = node_dispatch,
                             .size = sizeof(Node),
                             .version = 1,
                             .fields = fields,
                             .field_count = sizeof fields / sizeof fields[0],
                             .defaults =
                                 [](void *n) {
                                   static_cast<Node *>(n)->scale = {1, 1, 1};
                                 },
                             .set = set,
                             .get = get,
                             .rows = rows};

void link(Q7Object *obj, uint32_t method, uint64_t behind, Q7List *list) {
  inherit(Q7ClassFind(Q7C_NODE), obj, method, 0, behind, slot(list));
}

bool is_kind(Q7Object *obj, uint32_t clid) { return obj && Q7ObjectIsOfKind(obj, clid); }

}  // namespace scene
