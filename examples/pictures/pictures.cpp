// pictures: draws the pictures of the documentation on the default platform layer, without a display: a dialog with a
// frame, fields and buttons, a radio group, a compass with its needle at several places, and a canvas of a client. Also
// a first host to read that lays gadgets out, injects events and writes what the windows show.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "app/q7app.h"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "math/q7noise.h"
#include "platform/posix/q7posix.h"
#include "ui/q7canvas.h"
#include "ui/q7compas.h"
#include "ui/q7dc.h"
#include "ui/q7easymx.h"
#include "ui/q7gadget.h"
#include "ui/q7mxbutto.h"
#include "ui/q7packer.h"
#include "ui/q7separg.h"

namespace {

template <class T>
uint64_t word(T *pointer) {
  return reinterpret_cast<uint64_t>(pointer);
}
template <class T>
Q7TagItem *slot(T *pointer) {
  return reinterpret_cast<Q7TagItem *>(const_cast<std::remove_const_t<T> *>(pointer));
}
uint64_t send(Q7Object *object, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return object->dispatch(object->cl, object, method, a, b, tags);
}

std::string folder;
std::string format = "svg";
int failures;

void write_picture(Q7Object *window, const char *name) {
  const std::string path = folder + "/" + name + "." + format;
  if (!Q7SendMsg(window, Q7M_WINDOW_PICTURE, Q7A_DRAWING_PATH, word(path.c_str()), 0)) {
    std::fprintf(stderr, "pictures: %s could not be written\n", path.c_str());
    ++failures;
  }
}

Q7Object *make_window(uint64_t width, uint64_t height) {
  Q7Object *window = Q7ObjectCreate(Q7C_WINDOW, Q7A_WIDGET_WIDTH, width, Q7A_WIDGET_HEIGHT, height, 0);
  if (!window) std::exit(1);
  return window;
}

void tell(Q7Object *window, int32_t kind, int x, int y) {
  const Q7Event event = {kind, 1, 0, static_cast<int16_t>(x), static_cast<int16_t>(y), 0, 0, 0, 0, nullptr};
  send(window, Q7M_WINDOW_EVENT, 0, 0, slot(&event));
}

// ---- A dialog ----

Q7Object *make_packer(uint64_t orientation) {
  return Q7ObjectCreate(Q7C_PACKER, Q7A_PACKER_ORIENTATION, orientation, 0);
}

void pack(Q7Object *packer, Q7Object *slave, uint64_t flags, uint64_t anchor, uint64_t pad) {
  Q7SendMsg(packer, Q7M_GMANAGER_ADD, Q7A_GMANAGER_SLAVE, word(slave), Q7A_PACKER_FLAGS, flags, Q7A_PACKER_ANCHOR,
            anchor, Q7A_PACKER_PAD_X, pad, Q7A_PACKER_PAD_Y, pad, 0);
}

Q7Object *make_gadget(Q7Object *parent, const char *label, uint64_t look, const char *text = nullptr) {
  return Q7ObjectCreate(Q7C_OSGADGET, Q7A_WIDGET_PARENT, word(parent), Q7A_GADGET_LABEL, word(label), Q7A_GADGET_LOOK,
                        look, Q7A_GADGET_TEXT, word(text), 0);
}

// A standard button's text in the application's language.
const char *button_text(uint64_t index) {
  Q7Object *cl = &Q7ClassFind(Q7C_GADGET)->header;
  return reinterpret_cast<const char *>(send(cl, Q7M_STRING, 0, 0, reinterpret_cast<Q7TagItem *>(index)));
}

void draw_dialog() {
  Q7Object *window = make_window(0, 0);
  Q7Object *frame = Q7ObjectCreate(Q7C_FRAME, Q7A_WIDGET_PARENT, word(window), Q7A_FRAME_TITLE, word("Lamp"), 0);
  Q7Object *fields = make_packer(0);
  Q7Set(fields, Q7A_GMANAGER_FRAME, word(frame), 0);
  pack(fields, make_gadget(frame, "Name", Q7GADGET_FIELD, "hall"), Q7PACK_FILL_X, Q7ANCHOR_ALIGNED, 4);
  pack(fields, make_gadget(frame, "Brightness", Q7GADGET_NUMBER, "40"), Q7PACK_FILL_X, Q7ANCHOR_ALIGNED, 4);
  Q7Object *toggle = make_gadget(frame, "Casts shadows", Q7GADGET_TOGGLE);
  Q7Set(toggle, Q7A_GADGET_SELECTED, uint64_t{1}, 0);
  pack(fields, toggle, 0, Q7ANCHOR_LEFT, 4);
  Q7Object *buttons = make_packer(1);
  Q7Object *ok = make_gadget(window, button_text(Q7GADGET_OK), Q7GADGET_BUTTON);
  pack(buttons, ok, Q7PACK_EXPAND | Q7PACK_FILL_X, Q7ANCHOR_CENTER, 4);
  pack(buttons, make_gadget(window, button_text(Q7GADGET_CANCEL), Q7GADGET_BUTTON), Q7PACK_EXPAND | Q7PACK_FILL_X,
       Q7ANCHOR_CENTER, 4);
  Q7Object *all = make_packer(0);
  pack(all, fields, Q7PACK_EXPAND | Q7PACK_FILL_X, Q7ANCHOR_CENTER, 6);
  pack(all, Q7ObjectCreate(Q7C_SEPARATOR, Q7A_WIDGET_PARENT, word(window), 0), Q7PACK_FILL_X, Q7ANCHOR_CENTER, 3);
  pack(all, buttons, Q7PACK_FILL_X, Q7ANCHOR_CENTER, 2);
  Q7Set(window, Q7A_WINDOW_CONTENT, word(all), 0);
  Q7SendMsg(window, Q7M_WIDGET_REALIZE, 0);
  Q7Set(window, Q7A_WINDOW_FOCUS, word(ok), 0);
  write_picture(window, "dialog");
  Q7ObjectDelete(window);
}

// ---- A radio group, and the stepping button ----

void draw_group() {
  const char *const labels[] = {"Parallel light", "Point light", "Spot light", nullptr};
  Q7Object *window = make_window(0, 0);
  Q7Object *group = Q7ObjectCreate(Q7C_EASYMX, Q7A_WIDGET_PARENT, word(window), Q7A_MX_LABELS, word(labels),
                                   Q7A_MX_ORDINAL, uint64_t{1}, 0);
  if (!group) std::exit(1);
  Q7Object *packer = nullptr;
  Q7Get(group, Q7A_MX_MANAGER, word(&packer), 0);
  Q7Object *all = make_packer(0);
  pack(all, packer, 0, Q7ANCHOR_CENTER, 8);
  Q7Set(window, Q7A_WINDOW_CONTENT, word(all), 0);
  Q7SendMsg(window, Q7M_WIDGET_REALIZE, 0);
  write_picture(window, "group");
  // A user's press on the last one.
  int32_t height = 0;
  Q7Get(window, Q7A_WIDGET_HEIGHT, word(&height), 0);
  tell(window, Q7EVENT_PRESS, 15, height - 15);
  tell(window, Q7EVENT_RELEASE, 15, height - 15);
  write_picture(window, "group-pressed");
  Q7ObjectDelete(group);
  Q7ObjectDelete(window);
}

// ---- The compass ----

void draw_compass() {
  const struct {
    const char *name;
    int dx, dy;
    uint64_t simple;
  } needles[] = {{"compass-north-east", 70, -70, 1}, {"compass-south", 0, 190, 0}, {"compass-west", -130, 30, 0}};
  for (const auto &needle : needles) {
    Q7Object *window = make_window(300, 270);
    Q7SetClassAttrs(Q7C_COMPASS, Q7A_COMPASS_SIMPLE_NEEDLE, needle.simple, 0);
    Q7Object *compass =
        Q7ObjectCreate(Q7C_COMPASS, Q7A_COMPASS_PARENT, word(window), Q7A_COMPASS_RINGS, uint64_t{2}, 0);
    Q7Set(window, Q7A_WINDOW_POINTER_OBJECT, word(compass), Q7A_WINDOW_POINTER_PRESS, uint64_t{Q7M_COMPASS_OPEN},
          Q7A_WINDOW_POINTER_MOTION, uint64_t{Q7M_COMPASS_MOVE}, Q7A_WINDOW_POINTER_RELEASE,
          uint64_t{Q7M_COMPASS_FINAL}, 0);
    tell(window, Q7EVENT_PRESS, 150, 135);
    tell(window, Q7EVENT_MOTION, 150 + needle.dx, 135 + needle.dy);
    write_picture(window, needle.name);
    tell(window, Q7EVENT_RELEASE, 150, 135);
    Q7ObjectDelete(window);
  }
}

// ---- A canvas: what a renderer of noise would show ----

constexpr uint32_t kNoiseCanvas = 4110;
constexpr int32_t kSide = 96;

// The pixels are drawn in the middle of a sunken field.
uint64_t draw_noise(const Q7Rect *rect, Q7Object *dc) {
  std::vector<uint8_t> pixels(size_t{kSide} * kSide * 4, 255);
  for (int32_t i = 0; i < kSide * kSide; ++i) {
    const int32_t row = i / kSide;
    const Q7Vector point = {i % kSide * 0.004, row * 0.004, 0.5};
    const double cloud = Q7SmoothNoise(&point, 4, 2.0);
    pixels[static_cast<size_t>(i) * 4] = static_cast<uint8_t>(80 + 175 * cloud);
    pixels[static_cast<size_t>(i) * 4 + 1] = static_cast<uint8_t>(120 + 135 * cloud);
  }
  const Q7Image image = {kSide, kSide, pixels.data()};
  const Q7Point corner = {static_cast<int16_t>((rect->width - kSide) / 2),
                          static_cast<int16_t>((rect->height - kSide) / 2)};
  send(dc, Q7M_DC_SET_PEN, 0, 0, reinterpret_cast<Q7TagItem *>(uint64_t{Q7PEN_BOTTOM_SHADOW}));
  send(dc, Q7M_DC_FILL_RECTANGLE, 0, 0, slot(rect));
  return send(dc, Q7M_DC_IMAGE, word(&image), 0, slot(&corner));
}

uint64_t canvas_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_WIDGET_DRAW) {
    return draw_noise(reinterpret_cast<const Q7Rect *>(a), reinterpret_cast<Q7Object *>(tags));
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

void draw_canvas() {
  if (!Q7ClassCreate(Q7C_CANVAS, kNoiseCanvas, canvas_dispatch, 0, Q7CT_NAME, word("noisecanvas"), 0)) std::exit(1);
  Q7Object *window = make_window(120, 120);
  // A canvas is created without attributes.
  Q7Object *canvas = Q7ObjectCreate(kNoiseCanvas, 0);
  Q7Set(canvas, Q7A_WIDGET_PARENT, word(window), Q7A_WIDGET_X, uint64_t{10}, Q7A_WIDGET_Y, uint64_t{10},
        Q7A_WIDGET_WIDTH, uint64_t{100}, Q7A_WIDGET_HEIGHT, uint64_t{100}, 0);
  write_picture(window, "canvas");
  Q7ObjectDelete(window);
}

constexpr char kHelp[] =
    "Usage: pictures FOLDER [svg|png|txt] [LANGUAGE]\n"
    "Draws the pictures of the documentation into a folder: as SVG, PNG or the text form of drawings.\n";

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2 || argc > 4 || argv[1][0] == '-') {
    std::fputs(kHelp, argc == 2 && std::strcmp(argv[1], "--help") == 0 ? stdout : stderr);
    return argc == 2 && std::strcmp(argv[1], "--help") == 0 ? 0 : 2;
  }
  folder = argv[1];
  if (argc > 2) format = argv[2];
  // No settings of the user's colours and sizes: a home folder of its own, and no log on the screen.
  std::string home = (std::filesystem::temp_directory_path() / "q7-pictures-XXXXXX").string();
  if (!mkdtemp(home.data()) || !std::freopen("/dev/null", "w", stdout)) return 1;
  setenv("HOME", home.c_str(), 1);
  const char *locale[1] = {argc > 3 ? argv[3] : "english"};
  int32_t count = 0;
  Q7App *app = Q7AppCreate(&count, nullptr, Q7APP_Locale, word(locale), 0);
  if (!app) return 1;
  if (!Q7RegisterEasyMxClass(app) || !Q7RegisterPackerClass(app) || !Q7RegisterSeparatorGadgetClass(app) ||
      !Q7RegisterCompassClass(app) || !Q7RegisterCanvasClass(app) || !Q7RegisterOSGadgetClass(app)) {
    return 1;
  }
  draw_dialog();
  draw_group();
  draw_compass();
  draw_canvas();
  Q7AppDelete(app);
  std::filesystem::remove_all(home);
  return failures ? 1 : 0;
}
