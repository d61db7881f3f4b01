// options: one parser for each command; the first word says which.
#include "examples/studio/options.hpp"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace studio {

namespace {

constexpr int kLargestSide = 32768;

// Two numbers with a sign between them: "640x480", "2/8".
bool pair(const std::string &text, char sign, int &first, int &second) {
  int end = 0;
  const std::string form = std::string("%9d") + sign + "%9d%n";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const bool read = std::sscanf(text.c_str(), form.c_str(), &first, &second, &end) == 2;
#pragma GCC diagnostic pop
  return read && static_cast<size_t>(end) == text.size();
}

std::string check_size(const std::string &text) {
  int width = 0, height = 0;
  const bool sound =
      pair(text, 'x', width, height) && width >= 1 && height >= 1 && width <= kLargestSide && height <= kLargestSide;
  return sound ? "" : "the size is WIDTHxHEIGHT, each 1 to 32768, not " + text;
}

std::string check_tile(const std::string &text) {
  int part = 0, parts = 0;
  const bool sound = pair(text, '/', part, parts) && part >= 1 && part <= parts && parts <= kLargestSide;
  return sound ? "" : "a part is NUMBER/PARTS, the number from 1, not " + text;
}

void add_common(CLI::App &cli, Options &options) {
  cli.add_flag("-q,--quiet", options.quiet, "Tell nothing but errors");
  cli.add_option("--plugins", options.plugins, "Folder of the plug-in libraries (default: beside that of the program)")
      ->type_name("FOLDER");
}

void describe_render(CLI::App &cli, Options &options, std::string &size, std::string &tile) {
  cli.footer(
      "Without -o and --save the picture is picture.png; with --save alone no picture is made.\n"
      "-o - writes the picture to standard output.\n\n"
      "Other commands (see studio COMMAND --help):\n"
      "  studio merge PART... [-o picture.png]\n"
      "  studio serve [--bind ADDR] [--into FOLDER] PORT\n"
      "  studio send FILE HOST:PORT");
  cli.add_option("FILE", options.scene, "Scene: a .q7d file, or a Wavefront .obj file")->required();
  cli.add_option("SCRIPT", options.script, "Script that changes the scene first, for example a .lua file");
  cli.add_option("-o,--output", options.picture, "Picture to write (PNG; a part of one with --tile)")
      ->type_name("FILE");
  cli.add_option("--size", size, "Pixels (default 800x600)")->type_name("WxH")->check(check_size);
  cli.add_option("--threads", options.threads, "Threads that trace rays (default: one for each processor)")
      ->type_name("N")
      ->check(CLI::Range(1, 256));
  cli.add_option("--samples", options.samples, "Rays a pixel (default: the scene's)")
      ->type_name("N")
      ->check(CLI::Range(1, 1024));
  cli.add_option("--save", options.save, "Saves the scene")->type_name("FILE.q7d");
  cli.add_option("--tile", tile, "Renders part I of N only, for studio merge")->type_name("I/N")->check(check_tile);
  cli.add_flag("--stats", options.stats, "Tells where the time went");
  cli.add_flag("--remember", options.remember, "Keeps size, threads and samples for the next time");
  cli.add_flag("--forget", options.forget, "Forgets what was kept");
}

// "What went wrong" without the parser's usage text: one line.
int parse(CLI::App &cli, int argc, char **argv, Options &options) {
  try {
    cli.parse(argc, argv);
    return 0;
  } catch (const CLI::Success &) {
    options.command = Command::kDone;
    std::fputs(cli.help().c_str(), stdout);
    return 0;
  } catch (const CLI::Error &error) {
    options.command = Command::kDone;
    std::fprintf(stderr, "studio: %s (see %s --help)\n", error.what(), cli.get_name().c_str());
    return 1;
  }
}

int read_render(int argc, char **argv, Options &options) {
  CLI::App cli("Renders scenes: reads a scene, lets a script change it, saves it, traces a picture of it.", "studio");
  std::string size, tile;
  describe_render(cli, options, size, tile);
  add_common(cli, options);
  const int status = parse(cli, argc, argv, options);
  if (!size.empty()) pair(size, 'x', options.width, options.height);
  if (!tile.empty()) pair(tile, '/', options.part, options.parts);
  return status;
}

int read_merge(int argc, char **argv, Options &options) {
  CLI::App cli("Joins the parts that studio --tile has rendered.", "studio merge");
  cli.add_option("PART", options.tiles, "All parts of one picture, in any order")->required();
  cli.add_option("-o,--output", options.picture, "Picture to write (default picture.png)")->type_name("FILE");
  add_common(cli, options);
  return parse(cli, argc, argv, options);
}

int read_serve(int argc, char **argv, Options &options) {
  CLI::App cli("Receives scenes and saves them, until Ctrl-C.", "studio serve");
  cli.add_option("--bind", options.bind, "Address to listen on (default 127.0.0.1)")->type_name("ADDR");
  cli.add_option("--into", options.folder, "Folder that scenes are saved in (default: the current one)")
      ->type_name("FOLDER")
      ->check(CLI::ExistingDirectory);
  cli.add_option("--count", options.count, "Ends after that many scenes")
      ->type_name("N")
      ->check(CLI::Range(1, 1 << 30));
  cli.add_option("--patience", options.patience, "Seconds that a sender may keep silent (default 10)")
      ->type_name("S")
      ->check(CLI::Range(1, 3600));
  cli.add_option("PORT", options.port, "Port; 0: any free one, which is told")->required()->check(CLI::Range(0, 65535));
  add_common(cli, options);
  return parse(cli, argc, argv, options);
}

int read_send(int argc, char **argv, Options &options) {
  CLI::App cli("Sends a scene to studio serve.", "studio send");
  cli.add_option("FILE", options.file, "Scene: a .q7d file, or a Wavefront .obj file")->required();
  cli.add_option("HOST:PORT", options.peer, "Where studio serve runs")->required();
  add_common(cli, options);
  return parse(cli, argc, argv, options);
}

}  // namespace

Options read_options(int argc, char **argv, int &status) {
  static constexpr struct {
    const char *word;
    Command command;
    int (*read)(int, char **, Options &);
  } kCommands[] = {{"merge", Command::kMerge, read_merge},
                   {"serve", Command::kServe, read_serve},
                   {"send", Command::kSend, read_send}};
  Options options;
  for (const auto &each : kCommands) {
    if (argc < 2 || std::string_view(argv[1]) != each.word) continue;
    options.command = each.command;
    status = each.read(argc - 1, argv + 1, options);
    return options;
  }
  status = read_render(argc, argv, options);
  return options;
}

}  // namespace studio
