// options: the command line.
#ifndef Q7_STUDIO_OPTIONS_HPP
#define Q7_STUDIO_OPTIONS_HPP

#include <string>
#include <vector>

namespace studio {

enum class Command { kRender, kMerge, kServe, kSend, kDone };

struct Options {
  Command command = Command::kRender;
  std::string plugins;
  bool quiet = false;

  // Rendering.
  std::string scene, script;
  std::string picture;                                  // empty: none asked for
  std::string save;                                     // likewise
  int width = 0, height = 0, threads = 0, samples = 0;  // 0: not said
  int part = 0, parts = 0;                              // 0: the whole picture
  bool stats = false, remember = false, forget = false;

  // Merging.
  std::vector<std::string> tiles;

  // Connections.
  std::string bind = "127.0.0.1", folder = ".", peer, file;
  int port = 0, count = 0, patience = 10;
};

// Reads the command line. Help and mistakes are printed and leave kDone, with the status to exit with.
Options read_options(int argc, char **argv, int &status);

}  // namespace studio

#endif
