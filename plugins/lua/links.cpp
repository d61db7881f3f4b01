// links: which objects scripts have stored in which attributes and lists. Most classes count no reference on them, so
// the attribute is emptied when its object goes. The records belong to the main thread; nothing here calls Lua.
#include <cstring>

#include "core/q7memory.h"
#include "core/q7typeid.h"
#include "core/q7watch.h"
#include "platform/q7platform.h"
#include "plugins/lua/rawvalues.hpp"

namespace q7lua {

bool read_raw(Q7Object *obj, const Place &place, Raw &raw) {
  std::memset(&raw, 0, sizeof raw);
  if (place.flags & kIndexFlags) return send(obj, Q7M_GETINDEXED, place.tag, place.index, slot(&raw)) != place.tag;
  Q7TagItem list[2] = {{place.tag, arg(&raw)}, {Q7TAG_END, 0}};
  if (send(obj, Q7M_GET, 0, 0, list) != 0) return false;
  // At either end of a list the link leads to a sentinel, which is no object.
  const bool link = place.tag == Q7A_NEXT || place.tag == Q7A_PREVIOUS;
  if (link && raw.object && (!raw.object->succ || !raw.object->pred)) raw.object = nullptr;
  return true;
}

bool write_raw(Q7Object *obj, const Place &place, const Raw &raw) {
  uint64_t value = 0;
  switch (place.type) {
    case Q7TID_INT: value = arg(raw.integer); break;
    case Q7TID_WORD: value = arg(raw.word); break;
    case Q7TID_BYTE: value = arg(raw.byte); break;
    case Q7TID_STRING: value = arg(raw.text); break;
    case Q7TID_OBJECT:
    case Q7TID_OBJECT2: value = arg(raw.object); break;
    default: value = arg(&raw.doubles[0]);
  }
  if (place.flags & kIndexFlags) return send(obj, Q7M_SETINDEXED, place.tag, place.index, slot(value)) != place.tag;
  Q7TagItem list[2] = {{place.tag, value}, {Q7TAG_END, 0}};
  return send(obj, Q7M_SET, 0, 0, list) == 0;
}

namespace {

struct Link {
  Link *next;
  Q7Object *holder;
  Place place;
  Q7Object *object;
};
Link *links;

void object_gone(Q7Object *object, uint64_t data);
void holder_gone(Q7Object *holder, uint64_t data);

void unlink_record(Link *link) {
  Link **place = &links;
  while (*place != link) place = &(*place)->next;
  *place = link->next;
  Q7ObjectUnwatch(link->object, object_gone, arg(link));
  Q7ObjectUnwatch(link->holder, holder_gone, arg(link));
  Q7FreeMem(link, sizeof(Link));
}

// The links of the object itself may be stale: only the list knows whether it stands there.
void leave_list(const Link &link, Q7Object *object) {
  Raw raw;
  auto *node = reinterpret_cast<Q7Node *>(object);
  Place place = link.place;
  place.index = 0;
  if (!object->succ || !object->pred || !read_raw(link.holder, place, raw) || !raw.list) return;
  if (Q7IsInList(raw.list, node)) Q7Remove(node);
}

// An object that is disposed of although references are counted on it is held by classes that count; to empty their
// attributes would dispose of it once more. The records belong to the main thread; on another one it is only noted that
// there is nothing left to watch.
void object_gone(Q7Object *object, uint64_t data) {
  auto *link = pointer<Link *>(data);
  if (!Q7IsMainThread()) {
    link->object = nullptr;
    return;
  }
  const Link kept = *link;
  unlink_record(link);
  Raw raw;
  if (kept.place.flags & Q7PAF_LIST) {
    leave_list(kept, object);
    return;
  }
  if (object->refcount > 0 || !read_raw(kept.holder, kept.place, raw) || raw.object != object) return;
  raw.object = nullptr;
  write_raw(kept.holder, kept.place, raw);
}

void holder_gone(Q7Object *, uint64_t data) {
  auto *link = pointer<Link *>(data);
  if (Q7IsMainThread()) {
    unlink_record(link);
  } else {
    link->holder = nullptr;
  }
}

bool add_link(Q7Object *holder, const Place &place, Q7Object *object) {
  auto *link = static_cast<Link *>(Q7AllocSilent(sizeof(Link), Q7MEM_CLEAR));
  if (!link) return false;
  link->holder = holder;
  link->place = place;
  link->object = object;
  if (!Q7ObjectWatch(object, object_gone, arg(link))) {
    Q7FreeMem(link, sizeof(Link));
    return false;
  }
  if (!Q7ObjectWatch(holder, holder_gone, arg(link))) {
    Q7ObjectUnwatch(object, object_gone, arg(link));
    Q7FreeMem(link, sizeof(Link));
    return false;
  }
  link->next = links;
  links = link;
  return true;
}

void remove_link(const Q7Object *holder, const Place &place) {
  for (Link *link = links; link; link = link->next) {
    if (link->holder != holder || link->place.tag != place.tag || link->place.index != place.index) continue;
    unlink_record(link);
    return;
  }
}

}  // namespace

void remember_link(Q7Object *holder, const Place &place, Q7Object *object) {
  remove_link(holder, place);
  if (!object) return;
  // Without memory for the record the attribute stays empty rather than unwatched.
  if (add_link(holder, place, object)) return;
  const Raw raw = {};
  write_raw(holder, place, raw);
}

void remember_member(Q7Object *owner, const Place &place, Q7Object *object) {
  // A list holds many: the object itself tells the records of one list apart.
  Place key = place;
  key.flags |= Q7PAF_LIST;
  key.index = arg(object);
  remove_link(owner, key);
  add_link(owner, key, object);
}

void forget_links() {
  while (links) unlink_record(links);
}

}  // namespace q7lua
