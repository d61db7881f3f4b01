// group: nodes that move together, and the scene, which is the outermost group. A group holds one reference on each
// member; its list is the members' own links.
#include <cstring>
#include <initializer_list>

#include "core/q7lists.h"
#include "core/q7objects.h"
#include "examples/studio/scene/node.hpp"
#include "io/q7file.h"

namespace scene {

namespace {

// ---- group ----

struct Group {
  Q7List members;
  Q7Object *self;
  Group *next;  // of the live groups
};

Group *live;  // every group there is, so that a list is known for a group's

const Field group_fields[] = {{"Members", Q7A_GROUP_MEMBERS, Q7TID_OBJECT, Field::kNoData, 0, 0, Q7PAF_LIST}};
Q7PublicAttribute group_rows[kMaxFields + 1];

Group &group(Q7Object *obj) { return data_of<Group>(Q7C_GROUP, obj); }

// Visits the members. Whoever has the list may link anything into it; strangers are passed over.
template <class Visit>
void each(Q7Object *obj, Visit visit) {
  for (Q7Node *n = group(obj).members.head; n && n->succ;) {
    Q7Node *next = n->succ;
    auto *member = reinterpret_cast<Q7Object *>(n);
    if (is_kind(member, Q7C_NODE) && node(member).parent == obj) visit(member);
    n = next;
  }
}

// Levels of groups below and with this one.
int height(Q7Object *obj, int limit) {
  int highest = 0;
  if (limit == 0) return 0;
  each(obj, [&](Q7Object *member) {
    const int below = is_kind(member, Q7C_GROUP) ? height(member, limit - 1) : 0;
    if (below > highest) highest = below;
  });
  return highest + 1;
}

Q7Object *find(Q7Object *obj, uint32_t clid, const char *name) {
  Q7Object *found = nullptr;
  each(obj, [&](Q7Object *member) {
    if (found) return;
    const bool named = !name || (member->name && std::strcmp(member->name, name) == 0);
    if (named && is_kind(member, clid)) {
      found = member;
    } else if (is_kind(member, Q7C_GROUP)) {
      found = find(member, clid, name);
    }
  });
  return found;
}

void begin_group(Group &g, Q7Object *self) {
  Q7NewList(&g.members);
  g.self = self;
  g.next = live;
  live = &g;
}

uint64_t create_group(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const uint64_t made = dispatch(group_class, cl, receiver, Q7M_NEW, a, b, tags);
  if (made) begin_group(data<Group>(cl, reinterpret_cast<Q7Object *>(made)), reinterpret_cast<Q7Object *>(made));
  return made;
}

uint64_t save_members(Q7Object *obj, Q7Object *stream) {
  uint32_t count = 0;
  each(obj, [&count](Q7Object *) { ++count; });
  bool sound = send(stream, Q7M_FILE_WRITE32, 0, 0, slot(count)) != 0;
  each(obj, [&](Q7Object *member) { sound = sound && Q7ObjectSave(member, Q7A_STREAM, word(stream), 0); });
  return sound;
}

int reading;  // groups that are being read, one in the other

// The count may be anything: nothing is made for it in advance, and nothing is read behind the first failure.
uint64_t read_members(Q7Object *obj, Q7Object *stream) {
  uint32_t count = 0;
  if (!send(stream, Q7M_FILE_READ32, 0, 0, slot(&count))) return 0;
  if (reading >= Q7GROUP_MAX_DEPTH) {
    report("Groups are nested more than %d deep", int{Q7GROUP_MAX_DEPTH});
    return 0;
  }
  ++reading;
  bool sound = true;
  for (uint32_t i = 0; sound && i < count; ++i) {
    Q7Object *member = Q7ObjectLoad(stream, 0);
    sound = member && enter_group(obj, member);
    if (member && !sound) Q7ObjectDelete(member);
  }
  --reading;
  return sound;
}

uint64_t copy_group(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *made = reinterpret_cast<Q7Object *>(dispatch(group_class, cl, obj, Q7M_COPY, a, b, tags));
  if (!made) return 0;
  begin_group(data<Group>(cl, made), made);
  each(obj, [made](Q7Object *member) {
    if (auto *copied = reinterpret_cast<Q7Object *>(send(member, Q7M_COPY))) enter_group(made, copied);
  });
  return word(made);
}

void end_group(Group &g) {
  each(g.self, [](Q7Object *member) { leave_group(member); });
  while (Q7Node *stranger = Q7RemHead(&g.members)) stranger->succ = stranger->pred = nullptr;
  for (Group **at = &live; *at; at = &(*at)->next) {
    if (*at != &g) continue;
    *at = g.next;
    break;
  }
}

bool get_group(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  return item.tag == Q7A_GROUP_MEMBERS && answer(item, &data<Group>(cl, obj).members);
}

uint64_t remove_member(Q7Object *obj, Q7Object *member) {
  if (!is_kind(member, Q7C_NODE) || node(member).parent != obj) return 0;
  leave_group(member);
  return 1;
}

uint64_t group_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return create_group(cl, obj, a, b, tags);
    case Q7M_DISPOSE: end_group(data<Group>(cl, obj)); break;
    case Q7M_COPY: return copy_group(cl, obj, a, b, tags);
    case Q7M_READ:
    case Q7M_SAVE:
      if (!dispatch(group_class, cl, obj, method, a, b, tags)) return 0;
      // A scene's own fields come behind its members: it is a group first.
      return method == Q7M_SAVE ? save_members(obj, stream_of(tags)) : read_members(obj, stream_of(tags));
    case Q7M_GROUP_ADD: return enter_group(obj, reinterpret_cast<Q7Object *>(tags));
    case Q7M_GROUP_REMOVE: return remove_member(obj, reinterpret_cast<Q7Object *>(tags));
    case Q7M_GROUP_FIND: return word(find(obj, static_cast<uint32_t>(a), reinterpret_cast<const char *>(tags)));
    default: break;
  }
  return dispatch(group_class, cl, obj, method, a, b, tags);
}

// ---- scene ----

struct Scene {
  double sky[3];      // Q7A_SCENE_SKY
  double horizon[3];  // Q7A_SCENE_HORIZON
  double ambient[3];  // Q7A_SCENE_AMBIENT
  int32_t samples;    // Q7A_SCENE_SAMPLES
  int32_t bounces;    // Q7A_SCENE_BOUNCES
  char *camera;       // Q7A_SCENE_CAMERA
};

const Field scene_fields[] = {
    {"Sky", Q7A_SCENE_SKY, Q7TID_RGB, offsetof(Scene, sky), 0, 1e6},
    {"Horizon", Q7A_SCENE_HORIZON, Q7TID_RGB, offsetof(Scene, horizon), 0, 1e6},
    {"Ambient", Q7A_SCENE_AMBIENT, Q7TID_RGB, offsetof(Scene, ambient), 0, 1e6},
    {"Samples", Q7A_SCENE_SAMPLES, Q7TID_INT, offsetof(Scene, samples), 1, 1024},
    {"Bounces", Q7A_SCENE_BOUNCES, Q7TID_INT, offsetof(Scene, bounces), 0, 16},
    {"Camera", Q7A_SCENE_CAMERA, Q7TID_STRING, offsetof(Scene, camera)},
};
Q7PublicAttribute scene_rows[kMaxFields + 1];

void scene_defaults(void *data) {
  *static_cast<Scene *>(data) = {{0.16, 0.26, 0.45}, {0.55, 0.6, 0.66}, {0.15, 0.17, 0.21}, 4, 3, nullptr};
}

uint64_t scene_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return dispatch(scene_class, cl, obj, method, a, b, tags);
}

}  // namespace

const ClassDef group_class = {.id = Q7C_GROUP,
                              .super = Q7C_NODE,
                              .name = "group",
                              .description = "Group",
                              .dispatch = group_dispatch,
                              .size = sizeof(Group),
                              .version = 1,
                              .fields = group_fields,
                              .field_count = sizeof group_fields / sizeof group_fields[0],
                              .defaults = nullptr,
                              .get = get_group,
                              .rows = group_rows};

const ClassDef scene_class = {.id = Q7C_SCENE,
                              .super = Q7C_GROUP,
                              .name = "scene",
                              .description = "Scene",
                              .dispatch = scene_dispatch,
                              .size = sizeof(Scene),
                              .version = 1,
                              .fields = scene_fields,
                              .field_count = sizeof scene_fields / sizeof scene_fields[0],
                              .defaults = scene_defaults,
                              .rows = scene_rows};

int depth(Q7Object *obj) {
  int levels = 0;
  for (Q7Object *g = node(obj).parent; g && levels <= Q7GROUP_MAX_DEPTH; g = node(g).parent) ++levels;
  return levels;
}

Q7Object *group_of_list(const void *list) {
  for (const Group *g = live; g; g = g->next) {
    if (&g->members == list) return g->self;
  }
  return nullptr;
}

void leave_group(Q7Object *obj) {
  if (!node(obj).parent) return;
  node(obj).parent = nullptr;
  link(obj, Q7M_REMOVE, 0, nullptr);
  send(obj, Q7M_RELEASE);
}

bool enter_group(Q7Object *to, Q7Object *obj, uint32_t method, uint64_t behind) {
  if (!is_kind(to, Q7C_GROUP) || !is_kind(obj, Q7C_NODE)) {
    report("A group holds nodes, and nothing else does");
    return false;
  }
  for (Q7Object *g = to; g; g = node(g).parent) {
    if (g != obj) continue;
    report("A group cannot lie in itself");
    return false;
  }
  const int levels = is_kind(obj, Q7C_GROUP) ? height(obj, Q7GROUP_MAX_DEPTH + 1) : 0;
  if (depth(to) + 1 + levels > Q7GROUP_MAX_DEPTH) {
    report("Groups are nested more than %d deep", int{Q7GROUP_MAX_DEPTH});
    return false;
  }
  send(obj, Q7M_ADDREF);
  leave_group(obj);
  // It may stand in some list that is no group's, or already in this one without being a member (tag 524 at creation).
  link(obj, Q7M_REMOVE, 0, nullptr);
  link(obj, method, behind, &group(to).members);
  node(obj).parent = to;
  return true;
}

}  // namespace scene
