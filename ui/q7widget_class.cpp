// q7widget, the class-wide part: thresholds, the drop frame setting and the colour scheme of the process. The colours
// are zero until the scheme is reset for the first time; while no scheme is defined the platform's colours are answered
// in their place.
#include <algorithm>
#include <cstring>

#include "core/q7typeid.h"
#include "platform/q7platform.h"
#include "ui/widget.hpp"

namespace {

struct Scheme {
  uint32_t tag;
  int32_t (*platform)(double *rgba);
  double standard;  // default of red, green and blue, where they are equal
  double blue;      // default of blue
};

constexpr int kColors = 10;
// The fourth component of the defaults is 0.
constexpr Scheme scheme[kColors] = {
    {Q7A_WIDGET_BACKGROUND_COLOR, Q7GetBackgroundColor, 0.6, 0.6},
    {Q7A_WIDGET_FOREGROUND_COLOR, Q7GetForegroundColor, 0.0, 0.0},
    {Q7A_WIDGET_TOP_SHADOW_COLOR, Q7GetTopshadowColor, 0.8, 0.8},
    {Q7A_WIDGET_BOTTOM_SHADOW_COLOR, Q7GetBottomshadowColor, 0.4, 0.4},
    {Q7A_WIDGET_DOWN_COLOR, Q7GetDownColor, 0.0, 1.0},
    {Q7A_WIDGET_DOWN_FOREGROUND_COLOR, Q7GetDownForegroundColor, 1.0, 1.0},
    {Q7A_WIDGET_INPUT_BACKGROUND_COLOR, Q7GetInputBackgroundColor, 1.0, 1.0},
    {Q7A_WIDGET_ACTIVE_TITLE_COLOR, Q7GetActiveTitleBackgroundColor, 0.4, 0.4},
    {Q7A_WIDGET_INACTIVE_TITLE_COLOR, Q7GetInactiveTitleBackgroundColor, 0.3, 0.3},
    {Q7A_WIDGET_TITLE_TEXT_COLOR, Q7GetTitleTextColor, 0.8, 0.8},
};

constexpr int32_t kDragThreshold = 20;

struct Settings {
  int32_t draw_drop_frame;
  int32_t drag_threshold = kDragThreshold;
  int32_t drag_time_threshold;
  int32_t define_color_scheme;
  double colors[kColors][4];
};
Settings settings;

int q7wc_color(uint32_t tag) {
  for (int i = 0; i < kColors; ++i) {
    if (scheme[i].tag == tag) return i;
  }
  return -1;
}

bool q7wc_set(const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_WIDGET_DRAW_DROP_FRAME: settings.draw_drop_frame = q7::flag(item); return true;
    case Q7A_WIDGET_DRAG_THRESHOLD: settings.drag_threshold = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_DRAG_TIME_THRESHOLD: settings.drag_time_threshold = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_DEFINE_COLOR_SCHEME: settings.define_color_scheme = q7::flag(item); return true;
    default: break;
  }
  const int color = q7wc_color(item.tag);
  if (color < 0) return false;
  // Always stored; it shows once a scheme is defined.
  if (item.data) std::memcpy(settings.colors[color], q7::value<const void *>(item), sizeof settings.colors[color]);
  return true;
}

bool q7wc_get(const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_WIDGET_DRAW_DROP_FRAME: return q7::store<int32_t>(item, settings.draw_drop_frame);
    case Q7A_WIDGET_DRAG_THRESHOLD: return q7::store<int32_t>(item, settings.drag_threshold);
    case Q7A_WIDGET_DRAG_TIME_THRESHOLD: return q7::store<int32_t>(item, settings.drag_time_threshold);
    case Q7A_WIDGET_DEFINE_COLOR_SCHEME: return q7::store<int32_t>(item, settings.define_color_scheme);
    default: break;
  }
  const int color = q7wc_color(item.tag);
  if (color < 0) return false;
  auto *place = q7::value<double *>(item);
  if (!place) return true;
  if (settings.define_color_scheme) {
    std::memcpy(place, settings.colors[color], sizeof settings.colors[color]);
  } else {
    scheme[color].platform(place);
  }
  return true;
}

}  // namespace

const Q7PublicAttribute q7::widget_attributes[] = {
    {"DrawDropFrame", Q7A_WIDGET_DRAW_DROP_FRAME, Q7TID_BOOL, 0, {}, 0, {}},
    {"DragThreshold", Q7A_WIDGET_DRAG_THRESHOLD, Q7TID_INT, 0, {}, 0, {}},
    {"DragTimeThreshold", Q7A_WIDGET_DRAG_TIME_THRESHOLD, Q7TID_INT, 0, {}, 0, {}},
    {"DefineColorScheme", Q7A_WIDGET_DEFINE_COLOR_SCHEME, Q7TID_BOOL, 0, {}, 0, {}},
    {"BackgroundColor", Q7A_WIDGET_BACKGROUND_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"ForegroundColor", Q7A_WIDGET_FOREGROUND_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"TopShadowColor", Q7A_WIDGET_TOP_SHADOW_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"BottomShadowColor", Q7A_WIDGET_BOTTOM_SHADOW_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"DownColor", Q7A_WIDGET_DOWN_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"DownForegroundColor", Q7A_WIDGET_DOWN_FOREGROUND_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"InputBackgroundColor", Q7A_WIDGET_INPUT_BACKGROUND_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"ActiveTitleBackgroundColor", Q7A_WIDGET_ACTIVE_TITLE_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"InactiveTitleBackgroundColor", Q7A_WIDGET_INACTIVE_TITLE_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {"TitleTextColor", Q7A_WIDGET_TITLE_TEXT_COLOR, Q7TID_RGB, 0, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

uint64_t q7::widget_class_attributes(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags) {
  return walk_items(cl, obj, method, tags, method == Q7M_SETCLASSATTRS ? q7wc_set : q7wc_get);
}

void q7::reset_colors() {
  for (int i = 0; i < kColors; ++i) {
    settings.colors[i][0] = settings.colors[i][1] = scheme[i].standard;
    settings.colors[i][2] = scheme[i].blue;
    settings.colors[i][3] = 0;
  }
}

void q7::set_brightness(int32_t percent) {
  reset_colors();
  const double factor = percent / 100.0;
  for (auto &color : settings.colors) {
    for (double &channel : color) channel = std::clamp(channel * factor, 0.0, 1.0);
  }
}

void q7::reset_widget_class() { settings = Settings{}; }
