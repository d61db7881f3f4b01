// parts: pictures cut into parts of some rows each, for several machines, and joined again. A part is a chunked file
// "Q7D8" of the form type "PART": chunk "HEAD" says what it is a part of, chunk "ROWS" holds its pixels.
#ifndef Q7_STUDIO_PARTS_HPP
#define Q7_STUDIO_PARTS_HPP

#include <string>
#include <vector>

#include "examples/studio/render.hpp"

namespace studio {

// Rows of part `part` (from 1) of `parts`: all rows belong to exactly one part.
Rows rows_of(int part, int parts, int height);

// Writes a part to a path. `world` is the fingerprint of what it shows. Throws Failure.
void write_part(const std::string &path, const Picture &picture, int part, int parts, uint64_t world);

// Reads parts and joins them. Throws Failure for a part that is missing, there twice, or of another picture.
Picture join_parts(const std::vector<std::string> &paths);

}  // namespace studio

#endif
