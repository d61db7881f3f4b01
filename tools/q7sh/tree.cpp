// tree: the two classes of the program: folders, of which the tree of objects is made, and sinks, to which languages
// speak.
#include <cstring>

#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7typeid.h"
#include "tools/q7sh/shell.hpp"

namespace q7sh {

namespace {

std::FILE *shown = stdout;

struct Folder {
  Q7List members;
};

Q7PublicAttribute members_row() {
  Q7PublicAttribute row = {};
  row.name = "Members";
  row.tag = kMembers;
  row.type = Q7TID_OBJECT2;
  row.flags = Q7PAF_LIST;
  return row;
}
const Q7PublicAttribute folder_rows[] = {members_row(), {}};

Folder &folder(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<Folder *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

uint64_t folder_create(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (obj) Q7NewList(&folder(cl, obj).members);
  return arg(obj);
}

uint64_t folder_get(Q7Class *cl, Q7Object *obj, Q7TagItem *tags) {
  uint64_t unknown = 0;
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) {
    if (item->tag == kMembers) {
      if (item->data) *reinterpret_cast<Q7List **>(item->data) = &folder(cl, obj).members;
      continue;
    }
    Q7TagItem single[2] = {*item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, Q7M_GET, 0, 0, single)) unknown = arg(item);
  }
  return unknown;
}

uint64_t folder_collect(Q7Class *cl, Q7Object *obj, Q7TagItem *list) {
  auto *node = static_cast<Q7AttributeTableNode *>(Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR));
  if (!node || !list) return 0;
  node->table = folder_rows;
  Q7AddTail(reinterpret_cast<Q7List *>(list), &node->node);
  return inherit(cl, obj, Q7M_COLLECT_TABLES, 0, 0, list);
}

uint64_t folder_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  Q7List &members = folder(cl, obj).members;
  while (members.head->succ) {
    auto *member = reinterpret_cast<Q7Object *>(members.head);
    send(member, Q7M_REMOVE);
    // What others hold references on lives on without a place in the tree.
    if (__atomic_load_n(&member->refcount, __ATOMIC_RELAXED) <= 0) send(member, Q7M_DISPOSE);
  }
  return inherit(cl, obj, Q7M_DISPOSE, a, b, tags);
}

uint64_t folder_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_NEW) return folder_create(cl, obj, a, b, tags);
  if (&obj->cl->header == obj) return inherit(cl, obj, method, a, b, tags);
  switch (method) {
    case Q7M_GET: return folder_get(cl, obj, tags);
    case Q7M_COLLECT_TABLES: return folder_collect(cl, obj, tags);
    case Q7M_DISPOSE: return folder_dispose(cl, obj, a, b, tags);
    // Its members stand in one list only.
    case Q7M_COPY: return 0;
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

uint64_t sink_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const auto *text = reinterpret_cast<const char *>(tags);
  switch (method) {
    case kShow: show(text); return 1;
    case kComplain: std::fprintf(stderr, "%s\n", text); return 1;
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

}  // namespace

bool register_classes() {
  return Q7ClassCreate(Q7C_ROOT, kFolderClass, folder_dispatch, sizeof(Folder), Q7CT_NAME, arg("folder"),
                       Q7CT_DESCRIPTION, arg("A list of objects"), Q7CT_VERSION, uint64_t{1}, 0) &&
         Q7ClassCreate(Q7C_ROOT, kSinkClass, sink_dispatch, 0, Q7CT_NAME, arg("sink"), Q7CT_VERSION, uint64_t{1}, 0);
}

void set_output(std::FILE *out) { shown = out; }

std::FILE *output() { return shown; }

// Each text is at least a line.
void show(const std::string &text) {
  std::fputs(text.c_str(), shown);
  if (text.empty() || text.back() != '\n') std::fputc('\n', shown);
}

std::vector<Q7PublicAttribute> rows_of(Q7Object *object) {
  std::vector<Q7PublicAttribute> rows;
  Q7List tables;
  Q7NewList(&tables);
  send(object, Q7M_COLLECT_TABLES, 0, 0, slot(&tables));
  while (Q7Node *node = Q7RemHead(&tables)) {
    const Q7PublicAttribute *row = reinterpret_cast<const Q7AttributeTableNode *>(node)->table;
    for (; row && row->name; ++row) rows.push_back(*row);
    Q7FreeMem(node, sizeof(Q7AttributeTableNode));
  }
  return rows;
}

Q7List *list_of(Q7Object *object, const Q7PublicAttribute &row) {
  const bool plain = row.flags & Q7PAF_LIST && !(row.flags & (Q7PAF_INDEXED | Q7PAF_SECOND_INDEX));
  if (!plain || (row.type != Q7TID_OBJECT && row.type != Q7TID_OBJECT2)) return nullptr;
  Q7List *list = nullptr;
  return Q7Get(object, row.tag, arg(&list), 0) == 0 ? list : nullptr;
}

std::string name_of(Q7Object *object) {
  const char *name = nullptr;
  Q7Get(object, Q7A_NAME, arg(&name), 0);
  return name ? name : "";
}

}  // namespace q7sh
