// commands: what the shell can do. Moving, listing and describing are the language class's own commands; the rest is
// built on what it answers.
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "app/q7app.h"
#include "core/q7objects.h"
#include "core/q7plugin.h"
#include "core/q7strings.h"
#include "core/q7typeid.h"
#include "platform/q7platform.h"
#include "plugins/lua/q7lua.h"
#include "tools/q7sh/shell.hpp"

namespace q7sh {

namespace {

constexpr int kMostIdleRounds = 1000;

std::string trim(const std::string &text) {
  const size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

// Takes the first word off a text.
std::string take_word(std::string &text) {
  const size_t end = text.find_first_of(" \t");
  std::string word = text.substr(0, end);
  text = end == std::string::npos ? "" : trim(text.substr(end));
  return word;
}

// The shortest text that reads back as the same number.
std::string number_text(double value) {
  char text[40];
  for (int digits : {15, 16, 17}) {
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    if (std::strtod(text, nullptr) == value || std::isnan(value)) break;
  }
  return text;
}

std::string doubles_text(const double *values, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += (i ? " " : "") + number_text(values[i]);
  return text;
}

std::string title_of(Q7Object *object) {
  if (!object) return "nothing";
  const char *class_name = object->cl->header.name;
  const std::string name = name_of(object);
  return (name.empty() ? "" : name + " ") + "(" + (class_name ? class_name : "?") + ")";
}

// A value as it can be set again.
std::string value_text(uint32_t type, const void *value) {
  const auto *doubles = static_cast<const double *>(value);
  switch (type) {
    case Q7TID_INT: return std::to_string(*static_cast<const int32_t *>(value));
    case Q7TID_WORD: return std::to_string(*static_cast<const int16_t *>(value));
    case Q7TID_BYTE: return std::to_string(*static_cast<const int8_t *>(value));
    case Q7TID_FLOAT: return number_text(*doubles);
    case Q7TID_RGB:
    case Q7TID_VECTOR: return doubles_text(doubles, 3);
    case Q7TID_RGBA:
    case Q7TID_VECTOR4: return doubles_text(doubles, 4);
    case Q7TID_STRING: {
      const char *text = *static_cast<const char *const *>(value);
      return text ? text : "";
    }
    default: return title_of(*static_cast<Q7Object *const *>(value));
  }
}

// The class of a number or a name; null if there is none.
Q7Class *find_class(const std::string &text) {
  char *end = nullptr;
  const unsigned long id = std::strtoul(text.c_str(), &end, 10);
  if (text.empty() || *end != 0) return Q7ClassFindByName(text.c_str());
  uint32_t found = 0;
  Q7Class *cl = id < Q7C_NONE ? Q7ClassNext(static_cast<uint32_t>(id), &found) : nullptr;
  return cl && found == id ? cl : nullptr;
}

}  // namespace

const Shell::Command Shell::kCommands[] = {
    {"attributes", "[PATH]", "list the public attributes of an object, or the channels of a value",
     &Shell::list_attributes},
    {"cd", "[PATH]", "make an object current; the root object without a path, the parent for \"..\"", &Shell::change},
    {"class", "[PATH]", "describe the class of an object; the type of a value", &Shell::print_class},
    {"classes", "[PATTERN]", "list the registered classes whose names match (wildcards * and ?)", &Shell::list_classes},
    {"delete", "PATH", "dispose of an object that nobody holds a reference on", &Shell::remove},
    {"echo", "[TEXT]", "print a text", &Shell::echo},
    {"get", "PATH", "print a value, in the form in which it can be set", &Shell::get},
    {"help", "[COMMAND]", "say what commands do", &Shell::help},
    {"idle", "", "run queued work until none is left", &Shell::idle},
    {"languages", "", "list the scripting languages", &Shell::list_languages},
    {"ls", "[PATH]", "list the objects in an object's lists", &Shell::list_members},
    {"lua", "[TEXT]", "run a line of Lua; without one, all lines up to a single dot", &Shell::lua},
    {"new", "CLASS NAME [PATH]", "make an object, by class name or id, in the list of an object", &Shell::make},
    {"next", "", "make the object behind the current one current", &Shell::next},
    {"plugin", "NAME", "load the plug-in libNAME.so, or a file", &Shell::plugin},
    {"previous", "", "make the object in front of the current one current", &Shell::previous},
    {"pwd", "", "print the current path", &Shell::print_path},
    {"quit", "", "leave the shell", &Shell::quit},
    {"run", "FILE", "run a script in the language of its extension", &Shell::run_command},
    {"set", "PATH VALUE", "set an attribute; the value is the rest of the line", &Shell::set},
    {"up", "", "take the last component off the current path", &Shell::up},
};

const Shell::Command *Shell::find(const std::string &name) {
  for (const Command &command : kCommands) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

Shell::Shell(Q7App *app) : app_(app) {
  root_ = Q7ObjectCreate(kFolderClass, Q7A_NAME, arg("root"), 0);
  sink_ = Q7ObjectCreate(kSinkClass, 0);
  // Held, so that no script disposes of what the shell stands on.
  send(root_, Q7M_ADDREF);
  send(sink_, Q7M_ADDREF);
  shell_ = language(Q7C_PRGLNG);
  Q7AppSetRoot(app, root_);
}

Shell::~Shell() {
  for (Q7Object *object : languages_) send(object, Q7M_RELEASE);
  Q7AppFlushIdle(app_);
  Q7AppSetRoot(app_, nullptr);
  send(root_, Q7M_RELEASE);
  send(sink_, Q7M_RELEASE);
}

// The object of a language, made when it is needed first.
Q7Object *Shell::language(uint32_t clid) {
  for (Q7Object *object : languages_) {
    if (object->clid == clid) return object;
  }
  Q7Object *made =
      Q7ObjectCreate(clid, Q7A_PRGLNG_ROOT, arg(root_), Q7A_PRGLNG_OUTPUT, arg(sink_), Q7A_PRGLNG_OUTPUT_METHOD,
                     uint64_t{kShow}, Q7A_PRGLNG_ERROR, arg(sink_), Q7A_PRGLNG_ERROR_METHOD, uint64_t{kComplain}, 0);
  if (!made) return nullptr;
  send(made, Q7M_ADDREF);
  languages_.push_back(made);
  // A state takes standard output as it is when it is opened: what scripts write there is output of this program.
  std::FILE *kept = stdout;
  stdout = output();
  if (clid == Q7C_LUA) send(made, Q7M_LUA_RUN, 0, 0, slot(""));
  stdout = kept;
  return made;
}

bool Shell::fail(const std::string &text) const {
  std::fprintf(stderr, "q7sh: %s\n", text.c_str());
  return false;
}

std::string Shell::path() const {
  const char *text = nullptr;
  Q7Get(shell_, Q7A_PRGLNG_PATH, arg(&text), 0);
  return text ? text : "";
}

std::string Shell::status_text() const {
  int32_t status = 0;
  Q7Get(shell_, Q7A_PRGLNG_STATUS, arg(&status), 0);
  switch (status) {
    case Q7PRGLNG_NO_OBJECT: return "not an object";
    case Q7PRGLNG_NO_CURRENT: return "no object there";
    case Q7PRGLNG_NO_LIST: return "the attributes cannot be listed";
    default: return "not found";
  }
}

bool Shell::path_command(uint32_t method, const std::string &path, const char *what) {
  if (send(shell_, method, 0, 0, slot(path.c_str()))) return true;
  return fail(std::string(what) + (path.empty() ? "" : " " + path) + ": " + status_text());
}

Q7Object *Shell::resolve(const std::string &path) const {
  Q7PublicAttribute row = {};
  Q7Object *object = nullptr;
  if (!send(shell_, Q7M_PRGLNG_RESOLVE, 0, 0, slot(path.c_str()))) return nullptr;
  return send(shell_, Q7M_PRGLNG_GET, arg(path.c_str()), arg(&row), slot(&object)) ? object : nullptr;
}

bool Shell::run(const std::string &line) {
  if (in_lua_) {
    if (script_.empty() && trim(line) == ".") {
      in_lua_ = false;
      return true;
    }
    return run_lua(line);
  }
  std::string rest = trim(line);
  if (rest.empty() || rest[0] == '#') return true;
  if (rest[0] == '=') return run_lua(rest.substr(1));
  const std::string word = take_word(rest);
  const Command *command = find(word);
  if (!command) return fail(word + ": no such command; \"help\" lists them");
  return (this->*command->function)(rest);
}

bool Shell::help(const std::string &arguments) {
  const auto say = [](const Command &command) {
    char left[40];
    std::snprintf(left, sizeof left, "%s %s", command.name, command.arguments);
    char line[160];
    std::snprintf(line, sizeof line, "%-26s %s", left, command.help);
    show(line);
  };
  if (!arguments.empty()) {
    const Command *command = find(arguments);
    if (!command) return fail("help " + arguments + ": no such command");
    say(*command);
    return true;
  }
  for (const Command &command : kCommands) say(command);
  show("= TEXT                     the same as lua TEXT");
  show("# TEXT                     nothing");
  show(
      "Paths: Name.Name..., from the current object, or from the root object with a \".\" in front; attributes of "
      "vectors");
  show("and colours have channels (Color.r), indexed ones take indices (Array[2]).");
  return true;
}

// ---- Moving ----

bool Shell::change(const std::string &path) {
  if (path == "..") return up("");
  if (!path.empty()) return path_command(Q7M_PRGLNG_MAKE_CURRENT, path, "cd");
  Q7Set(shell_, Q7A_PRGLNG_PATH, uint64_t{0}, 0);
  return true;
}

bool Shell::print_path(const std::string &) {
  send(shell_, Q7M_PRGLNG_PRINT_PATH);
  return true;
}

bool Shell::up(const std::string &) { return path_command(Q7M_PRGLNG_PARENT, "", "up"); }
bool Shell::next(const std::string &) { return path_command(Q7M_PRGLNG_NEXT, "", "next"); }
bool Shell::previous(const std::string &) { return path_command(Q7M_PRGLNG_PREVIOUS, "", "previous"); }

// ---- Listing ----

bool Shell::list_members(const std::string &path) {
  Q7Object *object = resolve(path);
  if (!object) return fail("ls" + (path.empty() ? "" : " " + path) + ": " + status_text());
  for (const Q7PublicAttribute &row : rows_of(object)) {
    const Q7List *list = list_of(object, row);
    for (Q7Node *node = list ? list->head : nullptr; node && node->succ; node = node->succ) {
      show(std::string(row.name) + ": " + title_of(reinterpret_cast<Q7Object *>(node)));
    }
  }
  return true;
}

bool Shell::list_attributes(const std::string &path) { return path_command(Q7M_PRGLNG_LIST, path, "attributes"); }
bool Shell::print_class(const std::string &path) { return path_command(Q7M_PRGLNG_PRINT_CLASS, path, "class"); }

bool Shell::list_classes(const std::string &pattern) {
  uint32_t id = 0;
  bool any = false;
  for (const Q7Class *cl = Q7ClassNext(0, &id); cl; cl = Q7ClassNext(id + 1, &id)) {
    const char *name = cl->header.name ? cl->header.name : "";
    if (!pattern.empty() && !Q7StringMatch(name, pattern.c_str())) continue;
    const char *super = cl->super && cl->super->header.name ? cl->super->header.name : "";
    show(std::to_string(id) + " " + name + (*super ? std::string(" : ") + super : ""));
    any = true;
  }
  return any || fail("classes " + pattern + ": none");
}

bool Shell::list_languages(const std::string &) {
  // Each is told to a sink of its own kind: a is the name.
  struct Collector {
    static uint64_t take(Q7Class *, Q7Object *, uint32_t, uint64_t a, uint64_t b, Q7TagItem *) {
      show(std::string(reinterpret_cast<const char *>(a)) + " " + std::to_string(b));
      return 1;
    }
  };
  Q7Object collector = *sink_;
  collector.dispatch = Collector::take;
  return Q7EnumLanguages(nullptr, &collector, kShow, 0) != 0;
}

// ---- Values ----

bool Shell::get(const std::string &path) {
  if (path.empty()) return fail("get: a path is missing");
  Q7PublicAttribute row = {};
  alignas(16) char value[256] = {};
  if (!send(shell_, Q7M_PRGLNG_GET, arg(path.c_str()), arg(&row), nullptr)) {
    return fail("get " + path + ": " + status_text());
  }
  if (row.flags & Q7PAF_LIST) return fail("get " + path + ": a list of objects; see ls");
  if (!send(shell_, Q7M_PRGLNG_GET, arg(path.c_str()), arg(&row), slot(&value[0]))) {
    return fail("get " + path + ": the value cannot be had");
  }
  show(value_text(row.type, value));
  return true;
}

bool Shell::set(const std::string &arguments) {
  std::string value = arguments;
  const std::string path = take_word(value);
  if (path.empty()) return fail("set: a path is missing");
  if (send(shell_, Q7M_PRGLNG_SET, arg(path.c_str()), Q7TID_STRING, slot(value.c_str()))) return true;
  return fail("set " + path + ": cannot be set to \"" + value + "\"");
}

// ---- Objects ----

// The list for new objects at a path: a list attribute, or the first list of an object.
Q7List *Shell::list_for(const std::string &path, Q7Object *&owner) const {
  owner = resolve(path);
  if (owner) {
    for (const Q7PublicAttribute &row : rows_of(owner)) {
      if (Q7List *list = list_of(owner, row)) return list;
    }
    return nullptr;
  }
  Q7PublicAttribute row = {};
  Q7List *list = nullptr;
  if (!send(shell_, Q7M_PRGLNG_GET, arg(path.c_str()), arg(&row), nullptr) || !(row.flags & Q7PAF_LIST)) return nullptr;
  return send(shell_, Q7M_PRGLNG_GET, arg(path.c_str()), arg(&row), slot(&list)) ? list : nullptr;
}

bool Shell::make(const std::string &arguments) {
  std::string rest = arguments;
  const std::string class_name = take_word(rest);
  const std::string name = take_word(rest);
  if (name.empty()) return fail("new: a class and a name are needed");
  if (name.find_first_of(".[") != std::string::npos) return fail("new: no path could name \"" + name + "\"");
  const Q7Class *cl = find_class(class_name);
  if (!cl) return fail("new " + class_name + ": no such class");
  Q7Object *owner = nullptr;
  Q7List *list = list_for(rest, owner);
  if (!list) return fail("new " + class_name + ": no list to put it in" + (rest.empty() ? "" : " at " + rest));
  Q7Object *object = Q7ObjectCreate(cl->header.clid, Q7A_NAME, arg(name.c_str()), 0);
  if (!object) return fail("new " + class_name + ": it cannot be made");
  send(object, Q7M_ADDTAIL, 0, 0, slot(list));
  return true;
}

bool Shell::remove(const std::string &path) {
  if (path.empty()) return fail("delete: a path is missing");
  Q7Object *object = resolve(path);
  if (!object) return fail("delete " + path + ": " + status_text());
  if (object == root_) return fail("delete " + path + ": the root object stays");
  for (const Q7Object *used : languages_) {
    if (object == used) return fail("delete " + path + ": the shell needs it");
  }
  const int32_t references = __atomic_load_n(&object->refcount, __ATOMIC_RELAXED);
  if (references > 0) return fail("delete " + path + ": " + std::to_string(references) + " references are held on it");
  if (object->succ && object->pred) send(object, Q7M_REMOVE);
  send(object, Q7M_DISPOSE);
  // The current object may have gone with it.
  if (!send(shell_, Q7M_PRGLNG_RESOLVE, 0, 0, nullptr)) change("");
  return true;
}

// ---- Scripts ----

bool Shell::load_plugin(const std::string &name) {
  if (name.find('/') == std::string::npos) return Q7LoadPluginLibrary(app_, name.c_str()) != 0;
  void *library = Q7LibraryOpen(app_, name.c_str(), 0, 0);
  return library && Q7RecordLibrary(app_, library);
}

bool Shell::plugin(const std::string &name) {
  if (name.empty()) return fail("plugin: a name is missing");
  return load_plugin(name) || fail("plugin " + name + ": cannot be loaded");
}

bool Shell::run_lua(const std::string &text) {
  lua_ = Q7ClassFind(Q7C_LUA) ? language(Q7C_LUA) : nullptr;
  if (!lua_) {
    in_lua_ = false;
    script_.clear();
    return fail("lua: the plug-in q7lua is not loaded");
  }
  script_ += script_.empty() ? text : "\n" + text;
  if (in_lua_ && send(lua_, Q7M_LUA_INCOMPLETE, 0, 0, slot(script_.c_str()))) return true;
  std::string script;
  script.swap(script_);
  return send(lua_, Q7M_LUA_EVALUATE, arg("=line"), 0, slot(script.c_str())) != 0;
}

bool Shell::lua(const std::string &text) {
  if (!text.empty()) return run_lua(text);
  if (!Q7ClassFind(Q7C_LUA)) return fail("lua: the plug-in q7lua is not loaded");
  in_lua_ = true;
  return true;
}

bool Shell::run_file(const std::string &file) {
  const size_t dot = file.find_last_of('.');
  const std::string extension = dot == std::string::npos ? "" : file.substr(dot + 1);
  const uint32_t clid = Q7FindLanguage(nullptr, extension.c_str());
  if (clid == 0) return fail("run " + file + ": no language for files of this kind");
  Q7Object *object = language(clid);
  if (clid == Q7C_LUA) lua_ = object;
  return object && send(object, Q7M_PRGLNG_LOAD, 0, 0, slot(file.c_str())) != 0;
}

bool Shell::run_command(const std::string &file) {
  if (file.empty()) return fail("run: a file is missing");
  return run_file(file);
}

bool Shell::idle(const std::string &) {
  for (int round = 0; round < kMostIdleRounds; ++round) {
    if (!Q7AppIdleMessagesPending(app_)) return true;
    Q7AppDoIdle(app_);
  }
  return fail("idle: work goes on queueing itself");
}

bool Shell::echo(const std::string &text) {
  show(text);
  return true;
}

bool Shell::quit(const std::string &) {
  over_ = true;
  return true;
}

void Shell::interrupt() const { send(lua_, Q7M_LUA_INTERRUPT); }

std::vector<std::string> Shell::complete(const std::string &word, bool first) const {
  std::vector<std::string> found;
  const auto offer = [&found](const std::string &front, const std::string &name, const std::string &begun) {
    if (!name.empty() && name.compare(0, begun.size(), begun) == 0) found.push_back(front + name);
  };
  if (first) {
    for (const Command &command : kCommands) offer("", command.name, word);
    return found;
  }
  const size_t dot = word.find_last_of('.');
  const std::string front = dot == std::string::npos ? "" : word.substr(0, dot + 1);
  const std::string begun = dot == std::string::npos ? word : word.substr(dot + 1);
  // A lone dot is the root object.
  Q7Object *object = front == "." ? root_ : resolve(front.empty() ? "" : front.substr(0, front.size() - 1));
  if (!object) return found;
  for (const Q7PublicAttribute &row : rows_of(object)) {
    offer(front, row.name, begun);
    const Q7List *list = list_of(object, row);
    for (Q7Node *node = list ? list->head : nullptr; node && node->succ; node = node->succ) {
      offer(front, name_of(reinterpret_cast<Q7Object *>(node)), begun);
    }
  }
  return found;
}

}  // namespace q7sh
