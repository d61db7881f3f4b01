/* q7tags: the (tag, value) pair in which every attribute, class tag and message argument travels. A tag list is an
 * array of pairs ended by tag 0; a null list is an empty one everywhere. */
#ifndef Q7_CORE_Q7TAGS_H
#define Q7_CORE_Q7TAGS_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** Control tags; every other id is an ordinary item. */
enum {
  Q7TAG_END = 0,        /**< The list ends here; the value is not read. */
  Q7TAG_LINK = 1,       /**< The list goes on at the value and never returns; a null value ends it. */
  Q7TAG_NEXT_CURSOR = 5 /**< The walk goes on with the caller's next cursor slot. */
};

/** Items a variadic sender takes at most; one more is stored, delivered and reported ("too many tags"). */
enum { Q7TAG_MAX_ITEMS = 255 };

/** One pair: 16 bytes. */
struct Q7TagItem {
  uint32_t tag;  /**< Tag id. */
  uint64_t data; /**< Integer, pointer, or the bits of a value of at most 8 bytes, as the tag says. */
};

/** One query of the "S" functions: 24 bytes. */
typedef struct Q7TagQuery {
  uint32_t tag;  /**< Tag id; control tags as in a tag list (the pointer field is the value). */
  void *data;    /**< Where the found value goes. */
  uint32_t size; /**< How many bytes of the value are copied, 1 to 8. */
} Q7TagQuery;

/**
 * The next ordinary item, or null at the end. The state is an array of cursors whose first slot the caller sets to the
 * list. Tag 5 continues in the next slot, while the first slot keeps pointing at the tag-5 item, so it redirects every
 * later call too; whoever lets tag 5 occur provides that slot.
 */
Q7_API Q7TagItem *Q7TagNext(Q7TagItem **state);
/** Q7TagNext over query items. */
Q7_API Q7TagQuery *Q7TagNextS(Q7TagQuery **state);

/** The first item with that tag, or null. Mind the order: tag first. */
Q7_API Q7TagItem *Q7TagFind(uint32_t tag, Q7TagItem *list);

/** The value of the first item with that tag, or fallback. Asked for tag 1 it answers the first link's pointer. Does
 * not interpret tag 5. */
Q7_API uint64_t Q7TagVal(const Q7TagItem *list, uint32_t tag, uint64_t fallback);

/** Stores, for each query item (tag, address of a 64-bit destination), the value of the first source item with that
 * tag.
 * @return 1 if all were found, 0 if any was missing (the found ones are stored all the same) */
Q7_API int32_t Q7TagGetA(Q7TagItem *source, Q7TagItem *query);
Q7_API int32_t Q7TagGet(Q7TagItem *source, uint32_t tag, ...);

/** Q7TagGetA with the number of bytes to copy in each query item (cut to 8). */
Q7_API int32_t Q7TagGetSA(Q7TagItem *source, Q7TagQuery *query);
/** Arguments: tag, destination pointer, 32-bit size, ..., 0. At most 255 queries; more are not read. */
Q7_API int32_t Q7TagGetS(Q7TagItem *source, uint32_t tag, ...);

/** Writes the ordinary items of src as a flat list into dst, which has room for them and the end. */
Q7_API void Q7TagCopyA(Q7TagItem *dst, Q7TagItem *src);
Q7_API void Q7TagCopy(Q7TagItem *dst, uint32_t tag, ...);

/** Appends the ordinary items of src at the end of dst (behind dst's links). The caller provides room. */
Q7_API void Q7TagConcatA(Q7TagItem *dst, Q7TagItem *src);
Q7_API void Q7TagConcat(Q7TagItem *dst, uint32_t tag, ...);

Q7_END_DECLS

#endif
