// studio: a small modelling and rendering studio without a display, and an example of a host program. Reads a scene,
// lets a script change it, saves it, renders it. docs/studio.md walks through the source.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "examples/studio/files.hpp"
#include "examples/studio/import_obj.hpp"
#include "examples/studio/network.hpp"
#include "examples/studio/options.hpp"
#include "examples/studio/parts.hpp"
#include "examples/studio/png.hpp"
#include "examples/studio/script.hpp"
#include "examples/studio/session.hpp"
#include "examples/studio/settings.hpp"
#include "examples/studio/store.hpp"
#include "examples/studio/world.hpp"

namespace {

using namespace studio;

constexpr PictureSize kDefaultSize = {800, 600};

// Seconds since it was last asked.
class Watch {
 public:
  double lap() {
    const auto now = std::chrono::steady_clock::now();
    return std::chrono::duration<double>(now - std::exchange(last_, now)).count();
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

struct Times {
  double load = 0, script = 0, save = 0, flatten = 0, trace = 0, messages = 0, write = 0;
};

Referenced load(const std::string &path) {
  check_input(path);
  if (has_extension(path, ".obj")) return import_obj(path);
  if (has_extension(path, ".q7d")) return load_scene(path);
  throw Failure(Text::kUnknownKind, path.c_str());
}

// What the command line does not say comes from the settings, and what they do not say is built in.
void complete(Options &options) {
  if (options.forget) {
    for (uint32_t each : {kStudioWidth, kStudioHeight, kStudioThreads, kStudioSamples}) remember(each, 0);
  }
  if (options.remember) {
    if (options.width) {
      remember(kStudioWidth, options.width);
      remember(kStudioHeight, options.height);
    }
    if (options.threads) remember(kStudioThreads, options.threads);
    if (options.samples) remember(kStudioSamples, options.samples);
  }
  if (!options.width && remembered(kStudioWidth) && remembered(kStudioHeight)) {
    options.width = remembered(kStudioWidth);
    options.height = remembered(kStudioHeight);
  }
  if (!options.width) {
    options.width = kDefaultSize.width;
    options.height = kDefaultSize.height;
  }
  if (!options.threads) options.threads = remembered(kStudioThreads);
  if (!options.threads) options.threads = threads_at_hand();
  if (!options.samples) options.samples = remembered(kStudioSamples);
  if (options.picture.empty() && options.save.empty()) {
    options.picture = options.parts
                          ? "picture." + std::to_string(options.part) + "-of-" + std::to_string(options.parts) + ".part"
                          : "picture.png";
  }
}

void write_bytes(PendingFile &to, const std::string &name, const std::vector<uint8_t> &bytes) {
  std::FILE *file = std::fopen(to.temporary().c_str(), "wb");
  const bool written = file && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const bool closed = file && std::fclose(file) == 0;
  if (!written || !closed) throw Failure(Text::kCannotWrite, name.c_str(), std::strerror(errno));
  to.commit();
}

void tell_times(const Times &t, const World &world, uint64_t rays) {
  const double outside = t.load + t.script + t.save + t.messages;
  const double all = outside + t.flatten + t.trace + t.write;
  const auto line = [all](const char *what, double seconds) {
    std::fprintf(stderr, "  %-28s %8.3f s %5.1f %%\n", what, seconds, all > 0 ? seconds / all * 100 : 0);
  };
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  std::fprintf(stderr, "where the time went:\n");
  line("loading the scene", t.load);
  line("the script", t.script);
  line("saving the scene", t.save);
  line("objects to arrays, tree", t.flatten);
  line("tracing rays", t.trace);
  line("idle messages", t.messages);
  line("the picture file", t.write);
  line("objects, messages, streams", outside);
  line("all outside the ray loop", all - t.trace);
  std::fprintf(stderr, "  %zu triangles, %zu nodes of the tree, %llu rays, %.2f million a second\n",
               world.corners.size() / 3, world.tree.node_count(), static_cast<unsigned long long>(rays),
               t.trace > 0 ? static_cast<double>(rays) / t.trace / 1e6 : 0);
  std::fprintf(stderr, "  %ld MiB of memory at most\n", usage.ru_maxrss / 1024);
}

void render_picture(Session &session, const Options &options, Q7Object *scene, Times &times,
                    std::unique_ptr<PendingFile> &saved) {
  Watch watch;
  const PictureSize size = {options.width, options.height};
  const World world = flatten(scene, options.samples);
  throw_if_interrupted();
  times.flatten = watch.lap();
  const Rows rows = options.parts ? rows_of(options.part, options.parts, size.height) : Rows{0, size.height};
  const bool to_screen = options.picture == "-";
  std::unique_ptr<PendingFile> file;
  if (!to_screen && !options.parts) file = std::make_unique<PendingFile>(options.picture);
  const RenderResult result = render(session.app(), world, size, rows, options.threads, !options.quiet);
  times.trace = watch.lap() - result.messages;
  times.messages = result.messages;
  session.say(Text::kRendered, size.width, rows.end - rows.first, world.samples, options.threads, times.trace);
  const std::vector<uint8_t> bytes = options.parts ? std::vector<uint8_t>() : encode_png(result.picture);
  if (saved) {
    saved->commit();
    session.say(Text::kSaved, options.save.c_str(), times.save);
  }
  if (options.parts) {
    write_part(options.picture, result.picture, options.part, options.parts, fingerprint(world));
    session.say(Text::kTileWritten, options.picture.c_str(), rows.first, rows.end, size.height);
  } else if (to_screen) {
    if (!session.write_standard_output(bytes.data(), bytes.size())) {
      throw Failure(Text::kCannotWrite, "-", std::strerror(errno));
    }
  } else {
    write_bytes(*file, options.picture, bytes);
    session.say(Text::kWritten, options.picture.c_str());
  }
  times.write = watch.lap();
  if (options.stats) tell_times(times, world, result.rays);
}

void run_render(Session &session, Options &options) {
  complete(options);
  if (options.picture == "-") session.free_standard_output();
  Times times;
  Watch watch;
  Referenced scene = load(options.scene);
  times.load = watch.lap();
  const SceneCounts counts = count(scene.get());
  session.say(Text::kLoaded, options.scene.c_str(), counts.meshes, counts.triangles, counts.lights, counts.materials,
              times.load);
  throw_if_interrupted();
  watch.lap();
  if (!options.script.empty()) {
    run_script(session.app(), scene.get(), options.script);
    times.script = watch.lap();
    session.say(Text::kScriptDone, options.script.c_str(), times.script);
    throw_if_interrupted();
  }
  // Files take their names when everything else has gone well.
  std::unique_ptr<PendingFile> saved;
  if (!options.save.empty()) {
    saved = std::make_unique<PendingFile>(options.save);
    save_scene(scene.get(), saved->temporary(), options.save);
    times.save = watch.lap();
  }
  if (!options.picture.empty()) {
    render_picture(session, options, scene.get(), times, saved);
  } else {
    throw_if_interrupted();
    saved->commit();
    session.say(Text::kSaved, options.save.c_str(), times.save);
  }
}

void run_merge(Session &session, const Options &options) {
  const std::string path = options.picture.empty() ? "picture.png" : options.picture;
  const bool to_screen = path == "-";
  if (to_screen) session.free_standard_output();
  const Picture picture = join_parts(options.tiles);
  const std::vector<uint8_t> bytes = encode_png(picture);
  throw_if_interrupted();
  if (to_screen) {
    if (!session.write_standard_output(bytes.data(), bytes.size())) {
      throw Failure(Text::kCannotWrite, "-", std::strerror(errno));
    }
  } else {
    PendingFile file(path);
    write_bytes(file, path, bytes);
  }
  session.say(Text::kMerged, path.c_str(), static_cast<int>(options.tiles.size()));
}

void run(Session &session, Options &options) {
  switch (options.command) {
    case Command::kRender: return run_render(session, options);
    case Command::kMerge: return run_merge(session, options);
    case Command::kServe:
      return serve(session, {options.bind, options.port, options.folder, options.count, options.patience});
    case Command::kSend: return send_scene(session, load(options.file), options.file, options.peer);
    case Command::kDone: return;
  }
}

int fail(const char *text) {
  std::fprintf(stderr, "studio: %s\n", one_line(text).c_str());
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  int status = 0;
  try {
    Options options = read_options(argc, argv, status);
    if (options.command == Command::kDone) return status;
    Session session(options.plugins, options.quiet);
    run(session, options);
    session.tell();
    return 0;
  } catch (const Cancelled &cancelled) {
    fail(format(Text::kCancelled).c_str());
    return 128 + cancelled.signal;
  } catch (const std::bad_alloc &) {
    return fail(format(Text::kNoMemory).c_str());
  } catch (const std::exception &error) {
    return fail(error.what());
  }
}
