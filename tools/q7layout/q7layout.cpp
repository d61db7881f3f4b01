// q7layout: lays out what a text describes, through the library's own layout managers, and writes a picture and the
// rectangles.
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "app/q7app.h"
#include "tools/q7layout/picture.hpp"

namespace {

using q7layout::Description;
using q7layout::Item;
using q7layout::Kind;
using q7layout::Pair;
using q7layout::Scene;

enum : int { kFailed = 1, kWrongUse = 2 };  // exit statuses
constexpr size_t kLargestText = 4 << 20;

struct Drag {
  std::string splitter;
  Pair distance;
  int32_t asked = 0, moved = 0;
};

struct Options {
  std::string file, size, picture, json = "-";
  std::vector<std::string> drags;  // names and distances in turn
};

std::string escaped(const std::string &text) {
  std::string out = "\"";
  for (const char c : text) {
    char code[8];
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned char>(c));
      out += code;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string json(const Q7Rect &r) {
  char text[64];
  std::snprintf(text, sizeof text, "[%d,%d,%d,%d]", r.x, r.y, r.width, r.height);
  return text;
}
std::string json(Pair size) {
  char text[32];
  std::snprintf(text, sizeof text, "[%d,%d]", size.x, size.y);
  return text;
}

std::string to_json(const Description &description, const Scene &scene, Pair size, Pair natural,
                    const std::vector<Drag> &drags) {
  std::string out = "{\"size\":" + json(size) + ",\"natural\":" + json(natural);
  if (!drags.empty()) {
    out += ",\"drags\":[";
    for (const Drag &drag : drags) {
      out += std::string(&drag == &drags.front() ? "" : ",") + "{\"splitter\":" + escaped(drag.splitter) +
             ",\"asked\":" + std::to_string(drag.asked) + ",\"moved\":" + std::to_string(drag.moved) + "}";
    }
    out += "]";
  }
  out += ",\"items\":[";
  for (const Item &item : description.items) {
    out += std::string(&item == &description.items.front() ? "" : ",") + "\n  {\"name\":" + escaped(item.name) +
           ",\"kind\":\"" + q7layout::kind_name(item.kind) + "\"";
    if (item.parent) out += ",\"in\":" + escaped(item.parent->name);
    if (const std::string row = scene.row(item); !row.empty()) out += ",\"row\":" + escaped(row);
    out += ",\"rect\":" + json(scene.rect(item)) + ",\"given\":" + json(scene.given(item));
    if (item.frame) out += ",\"frame\":" + json(scene.frame_rect(item));
    out += ",\"min\":" + json(scene.min_size(item)) + "}";
  }
  return out + "\n]}\n";
}

// A message about the file or the command line; answers the exit status.
int complain(int status, const std::string &text) {
  std::fprintf(stderr, "q7layout: %s\n", text.c_str());
  return status;
}

bool write_text(const std::string &path, const std::string &text, std::FILE *out) {
  if (path == "-") return std::fputs(text.c_str(), out) >= 0 && std::fflush(out) == 0;
  std::FILE *file = std::fopen(path.c_str(), "w");
  if (!file) return false;
  const bool written = std::fputs(text.c_str(), file) >= 0;
  return std::fclose(file) == 0 && written;
}

int run(const Options &options, Q7App *app, std::FILE *out) {
  std::ifstream in(options.file, std::ios::binary);
  if (!in) return complain(kFailed, options.file + ": cannot be opened");
  std::string text;
  for (char block[65536]; in.read(block, sizeof block), in.gcount() > 0;) {
    text.append(block, static_cast<size_t>(in.gcount()));
    if (text.size() > kLargestText) return complain(kFailed, options.file + ": more than 4 MiB");
  }
  if (in.bad()) return complain(kFailed, options.file + ": cannot be read");

  Description description;
  try {
    description = q7layout::read_description(text);
  } catch (const q7layout::Mistake &mistake) {
    return complain(kFailed, options.file + ":" + std::to_string(mistake.line) + ": " + mistake.text);
  }
  std::vector<Drag> drags;
  for (size_t i = 0; i + 1 < options.drags.size(); i += 2) {
    const Item *splitter = description.find(options.drags[i]);
    if (!splitter || splitter->kind != Kind::kSplitter)
      return complain(kWrongUse, "--drag: there is no splitter \"" + options.drags[i] + "\"");
    const auto distance = q7layout::read_pair(options.drags[i + 1]);
    if (!distance) return complain(kWrongUse, "--drag: \"" + options.drags[i + 1] + "\" is no distance, as 20,0");
    drags.push_back({splitter->name, *distance});
  }

  if (!Scene::prepare(app)) return complain(kFailed, "out of memory");
  Scene scene(description);
  if (!scene.complete()) return complain(kFailed, "out of memory");
  scene.measure();
  const Pair natural = scene.min_size(description.items.front());
  Pair size = description.size.value_or(natural);
  if (!options.size.empty()) size = *q7layout::read_size(options.size);
  scene.lay_out(size);
  for (Drag &drag : drags) {
    const Item &splitter = *description.find(drag.splitter);
    drag.asked = splitter.vertical ? drag.distance.y : drag.distance.x;
    drag.moved = scene.drag(splitter, drag.asked);
  }
  if (!write_text(options.json, to_json(description, scene, size, natural, drags), out))
    return complain(kFailed, options.json + ": cannot be written");
  if (!options.picture.empty() && !q7layout::draw(description, scene, size, options.picture))
    return complain(kFailed, options.picture + ": cannot be written");
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App command_line(
      "Lays out a description of nested packers, placers and row-columns and writes the rectangles as JSON and, if "
      "asked "
      "to, a picture.");
  Options options;
  command_line.add_option("file", options.file, "The description")->required();
  command_line
      .add_option("--size", options.size, "Width and height, as 320x200; default the description's, or natural")
      ->check([](const std::string &text) {
        return q7layout::read_size(text) ? "" : "\"" + text + "\" is no size, as 320x200";
      });
  command_line.add_option("--picture", options.picture, "Picture to write: .svg, .png, anything else as text");
  command_line.add_option("--json", options.json, "File for the rectangles; default standard output");
  command_line
      .add_option("--drag", options.drags, "A splitter's name and how far to drag it, as --drag split 20,0; in turn")
      ->type_size(2)
      ->expected(-1);
  command_line.footer(
      "Exit status: 0, 1 when the description has a mistake or something cannot be read or written, 2 for a command "
      "line "
      "that cannot be meant.");
  try {
    command_line.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return command_line.exit(error) == 0 ? 0 : kWrongUse;
  }

  // The library echoes its log to standard output; what this program says has it for itself.
  std::FILE *out = fdopen(dup(STDOUT_FILENO), "w");
  if (!out || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return kFailed;
  int32_t count = argc;
  Q7App *app =
      Q7AppCreate(&count, argv, Q7APP_Interactive, uint64_t{0}, Q7APP_Name, reinterpret_cast<uint64_t>("q7layout"), 0);
  if (!app) return kFailed;
  int status = run(options, app, out);
  if (std::fclose(out) != 0 && status == 0) status = kFailed;
  Q7AppDelete(app);
  return status;
}
