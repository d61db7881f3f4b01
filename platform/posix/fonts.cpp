// fonts: the faces of the layer's one family, by style. A face is found through a fontconfig configuration of our own,
// which is given back at once, and read by a FreeType library of our own, so that nothing of the process's font
// configuration is used, changed or kept. Faces are kept for the process: there are eight at most.
#include <cairo-ft.h>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>

#include FT_FREETYPE_H

#include "platform/posix/q7posix.h"
#include "platform/posix/record.hpp"
#include "platform/posix/shape.hpp"

namespace q7posix {

namespace {

constexpr uint32_t kStyles = 8;
FT_Library library;
cairo_font_face_t *faces[kStyles];
bool looked_for[kStyles];

// The file of the font that comes nearest to a style; the caller frees the pattern.
FcPattern *match(FcConfig *config, uint32_t style) {
  FcPattern *wanted = FcPatternCreate();
  if (!wanted) return nullptr;
  const char *family = style & Q7FONT_MONO ? "DejaVu Sans Mono" : "DejaVu Sans";
  FcPatternAddString(wanted, FC_FAMILY, reinterpret_cast<const FcChar8 *>(family));
  FcPatternAddInteger(wanted, FC_WEIGHT, style & Q7FONT_BOLD ? FC_WEIGHT_BOLD : FC_WEIGHT_NORMAL);
  FcPatternAddInteger(wanted, FC_SLANT, style & Q7FONT_ITALIC ? FC_SLANT_OBLIQUE : FC_SLANT_ROMAN);
  FcPatternAddBool(wanted, FC_SCALABLE, FcTrue);
  FcConfigSubstitute(config, wanted, FcMatchPattern);
  FcDefaultSubstitute(wanted);
  FcResult result = FcResultNoMatch;
  FcPattern *found = FcFontMatch(config, wanted, &result);
  FcPatternDestroy(wanted);
  return found;
}

cairo_font_face_t *read_face(const FcPattern *pattern) {
  FcChar8 *path = nullptr;
  int index = 0;
  FT_Face face = nullptr;
  if (FcPatternGetString(pattern, FC_FILE, 0, &path) != FcResultMatch) return nullptr;
  FcPatternGetInteger(pattern, FC_INDEX, 0, &index);
  if (FT_New_Face(library, reinterpret_cast<const char *>(path), index, &face) != 0) return nullptr;
  cairo_font_face_t *result = cairo_ft_font_face_create_for_ft_face(face, 0);
  if (cairo_font_face_status(result) == CAIRO_STATUS_SUCCESS) return result;
  cairo_font_face_destroy(result);
  FT_Done_Face(face);
  return nullptr;
}

cairo_font_face_t *find_face(uint32_t style) {
  if (!library && FT_Init_FreeType(&library) != 0) return nullptr;
  FcConfig *config = FcInitLoadConfigAndFonts();
  if (!config) return nullptr;
  FcPattern *pattern = match(config, style);
  cairo_font_face_t *face = pattern ? read_face(pattern) : nullptr;
  if (pattern) FcPatternDestroy(pattern);
  FcConfigDestroy(config);
  return face;
}

}  // namespace

cairo_font_face_t *font_face(uint32_t style) {
  style %= kStyles;
  if (!looked_for[style]) {
    looked_for[style] = true;
    faces[style] = find_face(style);
    if (!faces[style]) Q7P_INFO("q7fonts", "The system has no font: texts are drawn as boxes");
  }
  return faces[style];
}

}  // namespace q7posix
