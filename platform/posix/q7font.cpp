// q7font: the font class. A font is a size and a style; what it measures is asked of Cairo each time, unless it was
// set.
#include <algorithm>

#include "core/q7root.h"
#include "platform/posix/attributes.hpp"
#include "platform/posix/drawing.hpp"
#include "platform/posix/q7posix.h"

using namespace q7posix;

namespace {

constexpr AttributeRun font_runs[] = {
    {Q7A_FONT_FIRST, Q7A_FONT_LAST, Width::kInt32, 0},
};
struct Font {  // instance data
  uint64_t values[Q7A_FONT_LAST - Q7A_FONT_FIRST + 1];
  uint32_t set;  // a bit for each attribute that was set and is not measured any more

  int32_t value(uint32_t tag) const { return static_cast<int32_t>(values[tag - Q7A_FONT_FIRST]); }
};

FontSpec q7fo_spec(const Font &font) {
  return {font.value(Q7A_FONT_SIZE), static_cast<uint32_t>(font.value(Q7A_FONT_STYLE))};
}

bool q7fo_set(Font &font, const Q7TagItem &item) {
  if (item.tag < Q7A_FONT_FIRST || item.tag > Q7A_FONT_LAST) return false;
  font.set |= 1u << (item.tag - Q7A_FONT_FIRST);
  uint64_t value = item.data;
  if (item.tag == Q7A_FONT_SIZE) value = static_cast<uint64_t>(std::clamp(static_cast<int32_t>(value), 1, 1000));
  if (item.tag == Q7A_FONT_STYLE) value &= Q7FONT_BOLD | Q7FONT_ITALIC | Q7FONT_MONO;
  font.values[item.tag - Q7A_FONT_FIRST] = value;
  return true;
}

bool q7fo_get(Font &font, const Q7TagItem &item) {
  const bool measure = item.tag == Q7A_FONT_HEIGHT || item.tag == Q7A_FONT_ASCENT || item.tag == Q7A_FONT_DESCENT;
  Q7TextExtents lines;
  if (!measure || (font.set >> (item.tag - Q7A_FONT_FIRST) & 1) || !text_extents(q7fo_spec(font), "", &lines)) {
    return give(font_runs, font.values, item);
  }
  return store<int32_t>(item, item.tag == Q7A_FONT_HEIGHT   ? lines.height
                              : item.tag == Q7A_FONT_ASCENT ? lines.ascent
                                                            : lines.descent);
}

// A font of set measures answers them for its texts too.
uint64_t q7fo_extents(Q7Class *cl, Q7Object *obj, const char *text, Q7TextExtents *extents) {
  if (!text_extents(q7fo_spec(data<Font>(cl, obj)), text, extents)) return 0;
  Q7TagItem query[4] = {{Q7A_FONT_HEIGHT, word(&extents->height)},
                        {Q7A_FONT_ASCENT, word(&extents->ascent)},
                        {Q7A_FONT_DESCENT, word(&extents->descent)},
                        {Q7TAG_END, 0}};
  send(obj, Q7M_GET, 0, 0, query);
  return 1;
}

uint64_t q7fo_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!obj) return 0;
  auto &font = data<Font>(cl, obj);
  font.values[0] = Q7FONT_DEFAULT_SIZE;
  each_tag(list, [&](const Q7TagItem &item) { q7fo_set(font, item); });
  return word(obj);
}

uint64_t q7fo_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  if (method == Q7M_NEW) return q7fo_new(cl, obj, a, b, list);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return inherit(cl, obj, method, a, b, list);
  switch (method) {
    case Q7M_SET: return walk<Font>(cl, obj, method, list, q7fo_set);
    case Q7M_GET: return walk<Font>(cl, obj, method, list, q7fo_get);
    case Q7M_FONT_EXTENTS:
      return q7fo_extents(cl, obj, reinterpret_cast<const char *>(a), reinterpret_cast<Q7TextExtents *>(list));
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef font_class = {Q7C_FONT, Q7C_ROOT, "q7font", q7fo_dispatch, sizeof(Font), Q7RegisterRootClass,
                                 "Font"};

}  // namespace

namespace q7posix {

int32_t register_font_class(Q7App *app) { return register_class(app, font_class); }

}  // namespace q7posix
