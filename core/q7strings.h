/* q7strings: bounded string routines and the two wildcard matchers. Texts are bytes ended by NUL. */
#ifndef Q7_CORE_Q7STRINGS_H
#define Q7_CORE_Q7STRINGS_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** A copy of s in a block of its own (Q7StrFree); null for a null text or on exhaustion. */
Q7_API char *Q7StrDup(const char *s);

/**
 * A block of n + 1 bytes whose first byte is NUL (Q7StrFree). n = 0 yields null, not an empty text: callers size a
 * buffer by a measured length and take null as "nothing to store".
 */
Q7_API char *Q7StrAlloc(uint64_t n);

/** Frees a text made by Q7StrDup or Q7StrAlloc; null is allowed. */
Q7_API void Q7StrFree(char *s);

/**
 * Copies src as strncpy(dst, src, size) does (the rest is filled with NUL) and ends it at min(size - 1, strlen(src)),
 * so at most size - 1 characters arrive. A size below 1 copies nothing.
 * @return dst
 */
Q7_API char *Q7StrCpy(char *dst, const char *src, int32_t size);

/**
 * Appends src so that dst holds at most size - 1 characters; NUL is always stored at size - 1. When strlen(dst) equals
 * size already, only that NUL is stored. The buffer holds size + 1 bytes.
 * @return dst as a number, or the old length when strlen(dst) was already size
 */
Q7_API uint64_t Q7StrCat(char *dst, const char *src, int32_t size);

/** Compares byte by byte after tolower of the current locale; the difference at the first unequal byte or at a's end.
 */
Q7_API int32_t Q7StrCaseCmp(const char *a, const char *b);

/** Q7StrCaseCmp over at most n bytes; n = 0 gives 0. */
Q7_API int32_t Q7StrNCaseCmp(const char *a, const char *b, uint64_t n);

/** Removes every byte c from s in place. @return the length that s had before */
Q7_API uint64_t Q7StrRemoveCharsOfKind(char *s, int32_t c);

/**
 * Wildcard match of a whole text: `*` any sequence, `?` any one character, `[...]` one of a set of characters and
 * ranges (either order of the ends, no negation, a backslash is an ordinary member, bytes compare as signed), `\` makes
 * the next character literal. A broken set (empty, without `]`, a `-` without an end) and a `\` at the end never match.
 * Takes time proportional to length times pattern at most.
 * @return 1 match, 0 none
 */
Q7_API int32_t Q7StringMatch(const char *string, const char *pattern);

/** Q7StringMatch in which literal letters (escaped ones too) match without regard to case; sets stay case-sensitive,
 * because patterns such as `[A-Z]*` are written to tell the cases apart. */
Q7_API int32_t Q7StringMatchIgnoreCase(const char *string, const char *pattern);

Q7_END_DECLS

#endif
