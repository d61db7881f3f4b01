/* q7lists: the doubly linked list whose header acts as both sentinel nodes. A structure that is to live in a list
 * begins with a Q7Node; a node is real exactly when its succ is not null (and, against the header, its pred is not
 * null). Without a list or a node nothing happens and the answer is null. */
#ifndef Q7_CORE_Q7LISTS_H
#define Q7_CORE_Q7LISTS_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** A list node. */
struct Q7Node {
  Q7Node *succ;     /**< Next node; for the last node the address of the header's tail. */
  Q7Node *pred;     /**< Previous node; for the first node the header itself. */
  const char *name; /**< Name or null; not owned by the list. */
  uint8_t pri;      /**< Priority, 0 to 255; higher ones come first (Q7AddPri). */
};

/** A list header. Reads as a node (head, tail) in front of the first and as a node (tail, tail_pred) behind the last.
 */
struct Q7List {
  Q7Node *head;      /**< First node, or the address of tail. */
  Q7Node *tail;      /**< Always null. */
  Q7Node *tail_pred; /**< Last node, or the header. */
};

/** Seek codes of Q7ListSeek. */
enum { Q7SEEK_FIRST = 1, Q7SEEK_LAST = 2, Q7SEEK_CURRENT = 3 };

/** Makes an empty list. @return the address of tail */
Q7_API Q7Node *Q7NewList(Q7List *list);

/**
 * Stops the process when the header is damaged (head or tail_pred null, or tail not null), after the report
 * "Invalid list header": a walk over such a list would corrupt more memory.
 */
Q7_API void Q7CheckListValidity(const Q7List *list);

/** 1 if node is one of the list's real nodes, else 0. */
Q7_API int32_t Q7IsInList(const Q7List *list, const Q7Node *node);

/** Links node after pred, or at the head when pred is null. @return the new node's successor */
Q7_API Q7Node *Q7Insert(Q7List *list, Q7Node *node, Q7Node *pred);

/** Unlinks node from whatever list it is in. @return node */
Q7_API Q7Node *Q7Remove(Q7Node *node);

Q7_API void Q7AddHead(Q7List *list, Q7Node *node);
Q7_API void Q7AddTail(Q7List *list, Q7Node *node);

/** Inserts by priority: in front of the first node of lower priority, behind every node of equal priority. */
Q7_API void Q7AddPri(Q7List *list, Q7Node *node);

/** Unlinks and returns the first node; null if the list is empty. */
Q7_API Q7Node *Q7RemHead(Q7List *list);
/** Unlinks and returns the last node; null if the list is empty. */
Q7_API Q7Node *Q7RemTail(Q7List *list);

/** The first node whose name is not null and equals name; null if none, or if name is null. */
Q7_API Q7Node *Q7FindName(const Q7List *list, const char *name);
/** Q7FindName that also stores the node's position, counted from 0; written only when found. */
Q7_API Q7Node *Q7FindNameAndIndex(const Q7List *list, const char *name, int32_t *index);

/** The node behind which a node of that name keeps the list in ascending strcmp order (behind its equals); null means
 * at the head. Nodes without a name count as the empty text. */
Q7_API Q7Node *Q7FindSorted(const Q7List *list, const char *name);
/** Q7FindSorted in the order of Q7StrCaseCmp. */
Q7_API Q7Node *Q7FindSortedIgnoreCase(const Q7List *list, const char *name);
/** Inserts node behind what Q7FindSorted answers for its name. */
Q7_API void Q7SortedInsert(Q7List *list, Q7Node *node);
/** Inserts node behind what Q7FindSortedIgnoreCase answers for its name. */
Q7_API void Q7SortedInsertIgnoreCase(Q7List *list, Q7Node *node);

/**
 * Gives a name a numeric suffix in place: the name ends before its first digit from the third character on, then the
 * index follows; the name is cut so that all fits in maxlen characters (the buffer holds maxlen + 1 bytes).
 * @return 1, or 0 with the name untouched for an index above 999999 or one that has more than maxlen digits
 */
Q7_API int32_t Q7IndexName(char *name, int32_t index, uint32_t maxlen);

/** Makes the node's name unique with Q7IndexName (0, 1, 2, ... in turn, until it fails), then inserts it sorted. The
 * name is a buffer of maxlen + 1 bytes. */
Q7_API void Q7SortedInsertIndexed(Q7List *list, Q7Node *node, uint32_t maxlen);

/** Number of real nodes. */
Q7_API int32_t Q7NodeCount(const Q7List *list);

/**
 * Moves a cursor: code Q7SEEK_FIRST and Q7SEEK_LAST set it first, Q7SEEK_CURRENT takes it as it is; then count steps
 * forward (positive) or back (negative), each stored in the cursor. A step onto a sentinel leaves the cursor there.
 * @return 1 if the cursor rests on a real node; 0 otherwise, for an empty list, and for an unknown code ("Illegal seek
 * code" is reported)
 */
Q7_API int32_t Q7ListSeek(const Q7List *list, Q7Node **cursor, int32_t code, int32_t count);

Q7_END_DECLS

#endif
