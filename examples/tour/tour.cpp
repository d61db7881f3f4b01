// tour: a host program that shows on screen what the library does, in plain sentences with the real results of its
// calls. It is also a first host to read: an application is created, classes are registered, objects are made, saved,
// loaded and put to work, a plug-in joins, and everything is given back. A second application in the same process then
// finds the settings of the first.
//
// Standard output belongs to the tour alone: the echo of the log goes to standard error. Unless --home says otherwise
// the user's folders lie in a home folder of its own that is removed at the end.
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "app/q7app.h"
#include "app/q7async.h"
#include "app/q7errdb.h"
#include "app/q7idle.h"
#include "core/client.hpp"
#include "core/q7lists.h"
#include "core/q7objects.h"
#include "core/q7plugin.h"
#include "core/q7root.h"
#include "core/q7strings.h"
#include "examples/lamp/lamp.h"
#include "examples/plugin/lamps.h"
#include "examples/tables.h"
#include "io/q7file.h"
#include "math/q7coordsys.h"
#include "math/q7matrix.h"
#include "math/q7noise.h"
#include "platform/q7platform.h"

namespace {

std::FILE *screen;  // where the tour tells its story; null when it is quiet
int failures;

__attribute__((format(printf, 1, 2))) void say(const char *format, ...) {
  if (!screen) return;
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(screen, format, arguments);
  va_end(arguments);
  std::fputc('\n', screen);
}

void heading(const char *title) { say("\n== %s ==", title); }

// What the story relies on. A tour that could not show something says so and ends with another exit status.
bool expect(bool holds, const char *what) {
  if (holds) return true;
  std::fprintf(stderr, "tour: %s did not work\n", what);
  ++failures;
  return false;
}

using q7client::send;
using q7client::slot;
template <class T>
uint64_t word(T *pointer) {
  return q7client::arg(pointer);
}

int report_error(const char *module, int line, const char *text, ...) {
  std::fprintf(stderr, "tour: %s, line %d: %s\n", module, line, text);
  return 0;
}

int32_t brightness(Q7Object *lamp) {
  int32_t percent = -1;
  Q7Get(lamp, Q7A_LAMP_BRIGHTNESS, word(&percent), 0);
  return percent;
}

double power(Q7Object *lamp) {
  double watts = -1;
  Q7Get(lamp, Q7A_LAMP_POWER, word(&watts), 0);
  return watts;
}

int32_t references(Q7Object *obj) {
  int32_t count = -1;
  Q7Get(obj, Q7A_REFCOUNT, word(&count), 0);
  return count;
}

uint32_t live_objects(uint32_t clid) {
  uint32_t count = 0;
  Q7GetClassAttrs(clid, Q7CT_NSUBINSTANCES, word(&count), 0);
  return count;
}

// ---- A room: an object with a list of others, whose members textual paths find by name ----

enum { kRoomClass = 4110, kRoomLamps = 4110500 };

struct Room {
  Q7List lamps;
};

const Q7PublicAttribute room_attributes[] = {
    {"Lamps", kRoomLamps, 18, Q7PAF_LIST, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

Room &room_data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<Room *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

uint64_t room_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: {
      auto *room = reinterpret_cast<Q7Object *>(cl->superdispatch(cl->super, obj, method, a, b, tags));
      if (room) Q7NewList(&room_data(cl, room).lamps);
      return word(room);
    }
    case Q7M_DISPOSE:
      while (Q7Node *lamp = Q7RemHead(&room_data(cl, obj).lamps)) {
        Q7SendMsg(reinterpret_cast<Q7Object *>(lamp), Q7M_RELEASE, 0);
      }
      break;
    case Q7M_GET:
      if (tags && tags->tag == kRoomLamps) {
        *reinterpret_cast<Q7List **>(tags->data) = &room_data(cl, obj).lamps;
        return 0;
      }
      break;
    case Q7M_COLLECT_TABLES:
      if (!add_attribute_table(tags, room_attributes)) return 0;
      break;
    default: break;
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

// ---- A sampler: works on the threads of executors ----

enum { kSamplerClass = 4111, kSample = 4111001 };
constexpr int32_t kSamplesEach = 20000;
std::atomic<int32_t> samples;

// Takes kSamplesEach samples of the noise, on the slice a, and queues what it has seen for the main thread.
uint64_t sample(Q7App *app, Q7Object *target, uint64_t a) {
  for (int32_t i = 0; i < kSamplesEach; ++i) {
    const Q7Vector point = {0.1 * i, 0.37 * i, static_cast<double>(a)};
    const double noise = Q7SmoothNoise(&point, 1, 0.5);
    if (noise >= -1 && noise <= 1) samples.fetch_add(1);
  }
  Q7AppDoMsgAWhenIdle(app, target, Q7M_LAMP_SWITCH, nullptr);
  return 1;
}

uint64_t sampler_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == kSample) return sample(Q7ApplicationContext, reinterpret_cast<Q7Object *>(tags), a);
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

// ---- The stations ----

void show_objects(Q7Object *lamp) {
  heading("Objects, messages and attributes");
  char path[256];
  Q7MakeClassName(path, Q7C_LAMP);
  say("The class \"%s\" has the number %d; the path name of its settings is %s.", lamp->cl->header.name, int{Q7C_LAMP},
      path);
  say("A lamp named \"%s\" shines at %d percent and needs %g W.", lamp->name, brightness(lamp), power(lamp));
  Q7Set(lamp, Q7A_LAMP_BRIGHTNESS, uint64_t{40}, 0);
  say("After setting attribute %d it shines at %d percent and needs %g W.", int{Q7A_LAMP_BRIGHTNESS}, brightness(lamp),
      power(lamp));
  expect(brightness(lamp) == 40, "setting an attribute");
  const auto off = static_cast<int>(Q7SendMsg(lamp, Q7M_LAMP_SWITCH, 0));
  const auto on = static_cast<int>(Q7SendMsg(lamp, Q7M_LAMP_SWITCH, 0));
  say("The message %d switches it: it answers %d, and sent again %d.", int{Q7M_LAMP_SWITCH}, off, on);
  expect(off == 0 && on > 0, "sending a message");
  say("It is of the kind of class 0, the root class, at depth %d.", Q7ObjectIsOfKind(lamp, Q7C_ROOT));
}

void show_references(Q7Object *lamp) {
  heading("Reference counts and copies");
  Q7SendMsg(lamp, Q7M_ADDREF, 0);
  Q7SendMsg(lamp, Q7M_ADDREF, 0);
  say("Referenced twice, the lamp counts %d references.", references(lamp));
  Q7SendMsg(lamp, Q7M_RELEASE, 0);
  say("One given back leaves %d.", references(lamp));
  auto *copy = reinterpret_cast<Q7Object *>(Q7SendMsg(lamp, Q7M_COPY, 0));
  if (!expect(copy != nullptr, "copying")) return;
  say("A copy has the name \"%s\" in memory of its own, %d references, and the same %d percent.", copy->name,
      references(copy), brightness(copy));
  expect(copy->name != lamp->name, "copying a name");
  const uint32_t before = live_objects(Q7C_LAMP);
  Q7ObjectDelete(copy);
  say("Live lamps: %u with the copy, %u without it.", before, live_objects(Q7C_LAMP));
}

void show_paths(Q7Object *lamp) {
  heading("Textual paths");
  Q7Object *room = Q7ObjectCreate(kRoomClass, Q7A_NAME, word("room"), 0);
  if (!expect(room != nullptr, "making a room")) return;
  Q7List *lamps = nullptr;
  Q7Get(room, kRoomLamps, word(&lamps), 0);
  Q7SendMsg(lamp, Q7M_ADDREF, 0);
  send(lamp, Q7M_ADDTAIL, 0, 0, slot(lamps));
  bool done = send(room, Q7M_SET_BY_PATH, word(".hall.Color"), 12, slot("0.9 0.5 0.25")) != 0;
  double green = 0;
  done = done && send(room, Q7M_GET_BY_PATH, word(".hall.Color.g"), 0, slot(&green)) != 0;
  say("In the room, \".hall.Color\" was set by the text \"0.9 0.5 0.25\"; \".hall.Color.g\" reads %g.", green);
  expect(done && green == 0.5, "access by path");
  const uint64_t refused = send(room, Q7M_SET_BY_PATH, word(".hall.Power"), 12, slot("5"));
  say("\".hall.Power\" cannot be set: the answer is %d.", static_cast<int>(refused));
  Q7ObjectDelete(room);
}

void show_tags() {
  heading("Tag lists and lists");
  Q7TagItem more[] = {{Q7A_LAMP_BRIGHTNESS, 70}, {Q7TAG_END, 0}};
  Q7TagItem list[] = {{Q7A_NAME, word("desk")}, {Q7TAG_LINK, word(&more[0])}};
  say("A list of the name and a link to the brightness: Q7TagVal finds \"%s\" and %d.",
      reinterpret_cast<const char *>(Q7TagVal(list, Q7A_NAME, 0)),
      static_cast<int>(Q7TagVal(list, Q7A_LAMP_BRIGHTNESS, 0)));
  Q7List nodes;
  Q7NewList(&nodes);
  Q7Node node[4] = {};
  const char *const names[4] = {"oak", "ash", "elm", "yew"};
  for (int i = 0; i < 4; ++i) {
    node[i].name = names[i];
    Q7SortedInsert(&nodes, &node[i]);
  }
  std::string order;
  for (const Q7Node *each = nodes.head; each->succ; each = each->succ) order += std::string(" ") + each->name;
  say("Inserted in sorted order, %d nodes read:%s.", Q7NodeCount(&nodes), order.c_str());
  expect(order == " ash elm oak yew", "sorting");
}

void show_wildcards() {
  heading("Wildcards");
  struct {
    const char *text, *pattern;
  } const pairs[] = {{"scene.q7d", "*.q7?"}, {"scene.txt", "*.q7?"}, {"frame0042", "frame[0-9]*2"}};
  for (const auto &pair : pairs) {
    say("\"%s\" %s \"%s\".", pair.text, Q7StringMatch(pair.text, pair.pattern) ? "matches" : "does not match",
        pair.pattern);
  }
  say("Regardless of case, \"SCENE.Q7D\" %s \"*.q7d\".",
      Q7StringMatchIgnoreCase("SCENE.Q7D", "*.q7d") ? "matches" : "does not match");
}

Q7Object *open_file(const char *name, const char *mode) {
  return Q7ObjectCreate(Q7C_FILE, Q7A_FILE_NAME, word(name), Q7A_FILE_MODE, word(mode), 0);
}

void show_streams(Q7App *app, Q7Object *lamp) {
  heading("Object streams");
  char name[Q7APP_FILENAME_SIZE];
  Q7AppConfigUserFileName(app, name, "projects", "lamp.q7d");
  Q7Object *file = open_file(name, "w");
  if (!expect(file != nullptr, "opening a file to write")) return;
  const bool saved = Q7ObjectSave(lamp, Q7A_STREAM, word(file), 0) != 0;
  Q7ObjectDelete(file);
  expect(saved, "saving");
  std::error_code error;
  say("The lamp was saved as \"%s\", %d bytes.", std::filesystem::path(name).filename().c_str(),
      static_cast<int>(std::filesystem::file_size(name, error)));
  file = open_file(name, "r");
  if (!expect(file != nullptr, "opening a file to read")) return;
  Q7Object *loaded = Q7ObjectLoad(file, 0);
  Q7ObjectDelete(file);
  if (expect(loaded != nullptr, "loading")) {
    double color[3] = {};
    Q7Get(loaded, Q7A_LAMP_COLOR, word(&color[0]), 0);
    say("Loaded, it is a %s named \"%s\" of %d percent and colour (%g, %g, %g).", loaded->cl->header.name, loaded->name,
        brightness(loaded), color[0], color[1], color[2]);
    expect(brightness(loaded) == brightness(lamp), "reading back what was saved");
    Q7ObjectDelete(loaded);
  }
  std::filesystem::remove(name, error);
}

void show_idle(Q7App *app, Q7Object *lamp) {
  heading("Idle queue and executor");
  Q7Set(lamp, Q7A_LAMP_BRIGHTNESS, uint64_t{80}, 0);
  Q7AppDoMsgAWhenIdle(app, lamp, Q7M_LAMP_SWITCH, nullptr);
  const int32_t before = brightness(lamp);
  const int32_t ran = Q7AppDoIdle(app);
  say("A switch queued for idle time leaves the lamp at %d percent; a round (answer %d) brings it to %d.", before, ran,
      brightness(lamp));
  expect(before == 80 && ran == 1 && brightness(lamp) == 0, "the idle queue");

  Q7Object *sampler = Q7ObjectCreate(kSamplerClass, 0);
  Q7Object *executor = Q7RegisterAsyncExecutorClass(app) ? Q7ObjectCreate(Q7C_ASYNC, 0) : nullptr;
  if (!expect(sampler && executor, "making an executor")) return;
  samples = 0;
  constexpr int kRequests = 3;
  int queued = 0;
  for (uint64_t i = 0; i < kRequests; ++i) {
    Q7TagItem request[] = {{Q7A_ASYNC_ARG1, i}, {Q7A_ASYNC_ARG3, word(lamp)}, {Q7TAG_END, 0}};
    queued += static_cast<int>(send(executor, Q7M_ASYNC_QUEUE, word(sampler), kSample, request));
  }
  Q7ObjectDelete(executor);
  say("%d requests to an executor took %d samples of noise on its thread, all between -1 and 1.", queued,
      samples.load());
  while (Q7AppFlushIdle(app)) {
  }
  say("Each sent the lamp a switch through the idle queue: three switches later it is at %d percent.",
      brightness(lamp));
  expect(queued == kRequests && samples == kRequests * kSamplesEach && brightness(lamp) > 0, "the executor");
  Q7ObjectDelete(sampler);
}

void show_geometry() {
  heading("Geometry and noise");
  const Q7Vector origin = {0, 0, 0};
  const Q7Vector up = {0, 0, 1};
  const Q7Vector point = {3, 4, 5};
  Q7Matrix turn;
  Q7Vector turned;
  Q7MxRotate(&turn, &origin, &up, std::acos(-1.0) / 2);
  Q7MxTransform(&turned, &turn, &point);
  say("The point (3, 4, 5), turned a quarter about the Z axis (clockwise, seen from its tip), lies at (%.3f, %.3f, "
      "%.3f), as far from the origin: %g.",
      turned.x, turned.y, turned.z, VLen(&turned));
  Q7Matrix back;
  Q7Vector again;
  const int32_t inverted = Q7MxInvert(&back, &turn);
  Q7MxTransform(&again, &back, &turned);
  say("The inverse brings it back: (%.3f, %.3f, %.3f).", again.x, again.y, again.z);
  expect(inverted && VAEq(&again, &point, 1e-9), "inverting a matrix");
  const Q7Vector place = {0.25, 1.5, -2.75};
  say("Noise at (0.25, 1.5, -2.75): %.6f with one octave, %.6f with four.", Q7SmoothNoise(&place, 1, 0.5),
      Q7SmoothNoise(&place, 4, 0.5));
}

void show_plugin(Q7App *app, const std::string &folder) {
  heading("A plug-in");
  Q7SetPluginDir(app, folder.c_str());
  Q7Object *lamp = Q7ObjectCreate(Q7C_LAMP, 0);
  const double before = power(lamp);
  Q7ObjectDelete(lamp);
  if (!expect(Q7LoadPluginLibrary(app, "q7lamps") == 1, "loading the plug-in")) return;
  lamp = Q7ObjectCreate(Q7C_LAMP, 0);
  if (!expect(lamp != nullptr, "making a lamp of the replaced class")) return;
  say("libq7lamps.so replaces the lamp class: a new lamp is of class %u, \"%s\", and needs %g W instead of %g W.",
      lamp->clid, lamp->cl->description, power(lamp), before);
  expect(lamp->clid == Q7C_LEDLAMP && power(lamp) < before, "replacing a class");
  Q7ObjectDelete(lamp);
  Q7Object *dimmer = Q7ObjectCreate(Q7C_DIMMER, Q7A_DIMMER_STEP, uint64_t{5}, 0);
  if (!expect(dimmer != nullptr, "making a dimmer")) return;
  const auto first = static_cast<int>(Q7SendMsg(dimmer, Q7M_DIMMER_DIM, 0));
  const auto second = static_cast<int>(Q7SendMsg(dimmer, Q7M_DIMMER_DIM, 0));
  say("It also adds the class \"%s\" below it: dimmed twice by 5 percent, one shines at %d, then %d.",
      dimmer->cl->header.name, first, second);
  Q7ObjectDelete(dimmer);
}

// ---- Two lives ----

Q7App *start() {
  static int32_t count = 0;
  Q7App *app = Q7AppCreate(&count, nullptr, Q7APP_Name, word("tour"), Q7APP_Interactive, uint64_t{0},
                           Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(&report_error), 0);
  if (!expect(app != nullptr, "creating the application")) return nullptr;
  const bool registered =
      register_lamp_class(app) &&
      Q7ClassCreate(Q7C_ROOT, kRoomClass, room_dispatch, sizeof(Room), Q7CT_NAME, word("room"), 0) &&
      Q7ClassCreate(Q7C_ROOT, kSamplerClass, sampler_dispatch, 0, Q7CT_NAME, word("sampler"), 0);
  if (expect(registered, "registering the tour's classes")) return app;
  Q7AppDelete(app);
  return nullptr;
}

int32_t default_brightness() {
  int32_t percent = -1;
  Q7GetClassAttrs(Q7C_LAMP, Q7A_LAMP_DEFAULT_BRIGHTNESS, word(&percent), 0);
  return percent;
}

void first_life(const std::string &plugins) {
  Q7App *app = start();
  if (!app) return;
  int classes = 0;
  uint32_t id = 0;
  for (const Q7Class *cl = Q7ClassNext(0, &id); cl; cl = Q7ClassNext(id + 1, &id)) ++classes;
  heading("An application");
  say("The application \"%s\" runs; %d classes are registered. Its user folder is ~/%s.", app->name, classes,
      Q7GetUserFolder());
  Q7Object *lamp = Q7ObjectCreate(Q7C_LAMP, Q7A_NAME, word("hall"), 0);
  if (expect(lamp != nullptr, "making a lamp")) {
    show_objects(lamp);
    show_references(lamp);
    show_paths(lamp);
    show_tags();
    show_wildcards();
    show_streams(app, lamp);
    show_idle(app, lamp);
    show_geometry();
    Q7SendMsg(lamp, Q7M_RELEASE, 0);
  }
  Q7SetClassAttrs(Q7C_LAMP, Q7A_LAMP_DEFAULT_BRIGHTNESS, uint64_t{65}, 0);
  show_plugin(app, plugins);
  heading("Settings across two lives");
  say("The class-wide default brightness is set to %d percent, and the application ends.", default_brightness());
  Q7AppDelete(app);
}

void second_life() {
  Q7App *app = start();
  if (!app) return;
  say("A second application finds it in the settings: %d percent.", default_brightness());
  expect(default_brightness() == 65, "keeping a setting");
  Q7Object *lamp = Q7ObjectCreate(Q7C_LAMP, 0);
  if (expect(lamp != nullptr, "making a lamp")) {
    say("A new lamp therefore shines at %d percent; without the plug-in it needs %g W.", brightness(lamp), power(lamp));
    Q7ObjectDelete(lamp);
  }
  Q7AppDelete(app);
}

// ---- The program ----

constexpr char kHelp[] =
    "Usage: tour [--quiet] [--home FOLDER] [--plugins FOLDER]\n"
    "Shows what the library does, with the real results of its calls.\n"
    "  --quiet           tells nothing; the exit status says whether everything worked\n"
    "  --home FOLDER     keeps settings and log below this home folder\n"
    "                    (default: a temporary one that is removed at the end)\n"
    "  --plugins FOLDER  where the example plug-in lies (default: beside the folder of the program)\n"
    "  --help            this text\n";

struct Options {
  bool quiet = false;
  bool help = false;
  std::string home, plugins;
};

bool read_options(int argc, char **argv, Options &options) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word == "--quiet") {
      options.quiet = true;
    } else if (word == "--help") {
      options.help = true;
    } else if (word == "--home" && i + 1 < argc) {
      options.home = argv[++i];
    } else if (word == "--plugins" && i + 1 < argc) {
      options.plugins = argv[++i];
    } else {
      std::fprintf(stderr, "tour: what is \"%s\"?\n%s", argv[i], kHelp);
      return false;
    }
  }
  return true;
}

// A home folder for as long as the program runs.
class Home {
 public:
  explicit Home(const std::string &given) {
    std::error_code error;
    std::string path = given;
    if (path.empty()) {
      path = (std::filesystem::temp_directory_path(error) / "tour.XXXXXX").string();
      if (!mkdtemp(path.data())) return;
      own_ = path;
    }
    set_ = setenv("HOME", path.c_str(), 1) == 0;
  }
  ~Home() {
    std::error_code error;
    if (!own_.empty()) std::filesystem::remove_all(own_, error);
  }
  Home(const Home &) = delete;
  Home &operator=(const Home &) = delete;
  explicit operator bool() const { return set_; }

 private:
  std::string own_;
  bool set_ = false;
};

// The library echoes its log to standard output; here that is moved to standard error, and the tour keeps the screen.
bool part_screen_from_log(bool quiet) {
  std::fflush(stdout);
  const int copy = dup(STDOUT_FILENO);
  if (copy < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return false;
  if (quiet) {
    close(copy);
  } else {
    screen = fdopen(copy, "w");
    if (!screen) return false;
    setvbuf(screen, nullptr, _IOLBF, 0);
  }
  return true;
}

std::string default_plugins() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path().parent_path() / "plugins").string();
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  if (!read_options(argc, argv, options)) return 2;
  if (options.help) {
    std::fputs(kHelp, stdout);
    return 0;
  }
  const Home home(options.home);
  if (!home || !part_screen_from_log(options.quiet)) {
    std::perror("tour");
    return 1;
  }
  say("A tour of libq7common, the runtime library of a modelling and rendering application.");
  first_life(options.plugins.empty() ? default_plugins() : options.plugins);
  if (failures == 0) second_life();
  if (failures == 0) say("\nEverything was given back. That was the tour.");
  if (screen) std::fclose(screen);
  return failures ? 1 : 0;
}
