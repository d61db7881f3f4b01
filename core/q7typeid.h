/* q7typeid: type ids: what kind of value an attribute holds. Generic get and set code, class settings and scripting
 * languages copy, store and print values through these functions without knowing the attribute. */
#ifndef Q7_CORE_Q7TYPEID_H
#define Q7_CORE_Q7TYPEID_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** The defined type ids, 1 to 26 (5 and 24 are empty, 21 and 25 have a size only). */
enum {
  Q7TID_INT = 1,       /**< int32_t */
  Q7TID_FLOAT = 2,     /**< double */
  Q7TID_WORD = 3,      /**< int16_t */
  Q7TID_BYTE = 4,      /**< int8_t */
  Q7TID_RGBA = 6,      /**< four doubles */
  Q7TID_RGBA_BYTE = 7, /**< four bytes */
  Q7TID_RGB = 8,       /**< three doubles; its channels still name a fourth, "a" */
  Q7TID_RGB_BYTE = 9,  /**< three bytes; likewise */
  Q7TID_VECTOR = 10,   /**< three doubles */
  Q7TID_VECTOR4 = 11,  /**< four doubles */
  Q7TID_STRING = 12,   /**< text; the size is that of one character, the length is the attribute's business */
  Q7TID_WORD3 = 13,    /**< three int16_t */
  Q7TID_WORD4 = 14,    /**< four int16_t */
  Q7TID_INT3 = 15,     /**< three int32_t */
  Q7TID_INT4 = 16,     /**< four int32_t */
  Q7TID_BOOL = 17,     /**< one byte */
  Q7TID_OBJECT = 18,   /**< object; not copied by value, so its size is 0 */
  Q7TID_AXIS = 19,     /**< six doubles */
  Q7TID_COORDSYS = 20, /**< twelve doubles */
  Q7TID_OBJECT2 = 22,  /**< object; likewise */
  Q7TID_MATRIX = 23,   /**< sixteen doubles */
  Q7TID_SIZE = 26      /**< size_t; its own channel type */
};

/** Size in bytes; 0 for any id outside 1 to 26. */
Q7_API int32_t Q7SizeofType(uint32_t tid);
/** Number of channels; 0 for any id outside 1 to 26. */
Q7_API int32_t Q7SubChannelCountOfType(uint32_t tid);
/** Type id of one channel; 0 for any id outside 1 to 26. */
Q7_API uint32_t Q7SubTypeOf(uint32_t tid);
/** Copies one value of a type. @return the bytes copied */
Q7_API int32_t Q7AssignType(void *destination, const void *source, uint32_t tid);
/** Appends the type's printed word and a blank to the text in buffer. @return 1; 0 after appending "??? " for an id
 * without a word */
Q7_API int32_t Q7TidToStr(char *buffer, uint32_t tid);
/**
 * Appends the one-character name of a channel; channel -1, channels above 3 and types without channel names append
 * nothing. For a matrix the channel number replaces what the buffer holds, since listings print it alone.
 * @return 1; 0 after appending "??? " for types without channels to name
 */
Q7_API int32_t Q7SubTidToStr(char *buffer, uint32_t tid, int32_t channel);

Q7_END_DECLS

#endif
