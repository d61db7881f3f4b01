// prglng: what the files of the language class share: the tables of the process and how its shell speaks.
#ifndef Q7_LANG_PRGLNG_HPP
#define Q7_LANG_PRGLNG_HPP

#include <cstdint>

#include "core/q7oops.h"

namespace q7 {

// Asks the mappers of the class that an id of a kind belongs to (method 260021).
void *map_language_id(uint64_t id, int32_t kind);

// Forgets all languages and frees the table of mappers.
void free_language_tables();

}  // namespace q7

#endif
