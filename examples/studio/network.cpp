// network: what goes over a connection is a mark, the scene's name, the scene as an object stream, and the mark again;
// what comes back is 1 or 0 and a text: the name under which it was saved, or why it was not.
//
// A connection that has failed once must not be read again, so every step of reading ends at the first failure.
#include "examples/studio/network.hpp"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "examples/studio/files.hpp"
#include "examples/studio/scene/scene.h"
#include "examples/studio/store.hpp"
#include "io/q7file.h"

namespace studio {

namespace {

constexpr uint32_t kMark = 0x5343454E;
constexpr uint64_t kMostText = 256;   // bytes of a name or an answer, the zero included
constexpr int32_t kLookSeconds = 1;   // between two looks for a signal
constexpr int kMostNumbers = 100000;  // of scenes of one name

// The time that any wait for a peer may take. It is a class attribute that the settings keep, so it is put back.
class Patience {
 public:
  Patience() { Q7GetClassAttrs(Q7C_FILE, Q7A_FILE_TIMEOUT, word(&before_), 0); }
  ~Patience() { set(before_); }
  Patience(const Patience &) = delete;
  Patience &operator=(const Patience &) = delete;
  void set(int32_t seconds) { Q7SetClassAttrs(Q7C_FILE, Q7A_FILE_TIMEOUT, static_cast<uint64_t>(seconds), 0); }

 private:
  int32_t before_ = 60;
};

bool write_mark(Q7Object *line) { return send(line, Q7M_FILE_WRITE32, 0, 0, slot(kMark)) != 0; }

bool read_mark(Q7Object *line) {
  uint32_t mark = 0;
  return send(line, Q7M_FILE_READ32, 0, 0, slot(&mark)) && mark == kMark;
}

bool write_text(Q7Object *line, const std::string &text) {
  return send(line, Q7M_FILE_WRITE_COUNTED, 0, 0, slot(text.substr(0, kMostText - 1).c_str())) != 0;
}

bool read_text(Q7Object *line, std::string &text) {
  char buffer[kMostText] = "";
  if (!send(line, Q7M_FILE_READ_COUNTED, sizeof buffer, 0, slot(&buffer[0]))) return false;
  text = one_line(buffer);
  return true;
}

bool flush(Q7Object *line) { return static_cast<int32_t>(send(line, Q7M_FILE_FLUSH)) == 0; }

// A name that is safe in any folder: what a peer calls its scene decides nothing but a few letters.
std::string safe_name(const std::string &given) {
  std::string name = file_name(given);
  name = name.substr(0, name.rfind('.'));
  std::string safe;
  for (char c : name) {
    if (safe.size() == 64) break;
    safe += std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' ? c : '_';
  }
  return safe.empty() ? "scene" : safe;
}

// Saves under the first name that nothing has. @return the path
std::string save_new(Q7Object *scene, const std::string &folder, const std::string &name) {
  const std::string base = folder + "/" + name;
  PendingFile pending(base + ".q7d");
  save_scene(scene, pending.temporary(), name);
  std::string path = base + ".q7d";
  for (int i = 2; !pending.commit_new(); ++i) {
    if (i > kMostNumbers) throw Failure(Text::kCannotWrite, path.c_str(), std::strerror(EEXIST));
    path = base + "-" + std::to_string(i) + ".q7d";
    pending.rename_to(path);
  }
  return path;
}

// Takes a scene from the accepted connection. @return the path under which it was saved
std::string receive(Q7Object *line, const std::string &folder, const std::string &peer) {
  std::string name;
  if (!read_mark(line) || !read_text(line, name)) throw failure_of(peer, Text::kPeerGone);
  Q7Object *loaded = Q7ObjectLoad(line, 0);
  if (!loaded) throw failure_of(peer, Text::kDamaged);
  if (!Q7ObjectIsOfKind(loaded, Q7C_SCENE)) {
    Q7ObjectDelete(loaded);
    throw Failure(Text::kNotAScene, peer.c_str());
  }
  Referenced scene(loaded);
  if (!read_mark(line)) throw failure_of(peer, Text::kDamaged);
  take_report();
  return save_new(scene.get(), folder, safe_name(name));
}

void reply(Q7Object *line, bool taken, const std::string &text) {
  // Whoever has gone away misses the answer.
  if (send(line, Q7M_FILE_WRITE32, 0, 0, slot(uint32_t{taken})) && write_text(line, text)) flush(line);
}

// Serves the connection that was accepted. @return whether a scene has come
bool serve_one(Session &session, Q7Object *line, const std::string &folder) {
  const char *address = get<const char *>(line, Q7A_FILE_PEER);
  const std::string peer = address && *address ? address : "?";
  bool received = false;
  try {
    const std::string path = receive(line, folder, peer);
    reply(line, true, file_name(path));
    session.say(Text::kReceived, path.c_str(), peer.c_str());
    received = true;
  } catch (const std::exception &failure) {
    std::fprintf(stderr, "studio: %s\n", format(Text::kNotReceived, peer.c_str(), failure.what()).c_str());
    reply(line, false, failure.what());
  }
  take_report();
  send(line, Q7M_FILE_CLOSE_ACCEPTED);
  return received;
}

// "host:port", "[address]:port".
void parse_peer(const std::string &peer, std::string &host, long &port) {
  const size_t colon = peer.rfind(':');
  char *end = nullptr;
  if (colon != std::string::npos && colon > 0 && std::isdigit(static_cast<unsigned char>(peer[colon + 1]))) {
    host = peer.substr(0, colon);
    port = std::strtol(peer.c_str() + colon + 1, &end, 10);
  }
  if (!end || *end || port < 1 || port > 65535) throw Failure(Text::kNotAPort, peer.c_str());
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
}

}  // namespace

void serve(Session &session, const Service &service) {
  Patience patience;
  int32_t error = 0;
  Owned line(Q7ObjectCreate(Q7C_FILE, Q7A_FILE_MODE, word("s"), Q7A_FILE_HOST, word(service.bind.c_str()),
                            Q7A_FILE_PORT, static_cast<uint64_t>(service.port), Q7A_FILE_SYSTEM_ERROR, word(&error),
                            0));
  if (!line) {
    take_report();
    throw Failure(Text::kCannotServe, service.bind.c_str(), service.port, std::strerror(error));
  }
  session.tell_at_once();
  session.say(Text::kServing, service.bind.c_str(), get<int32_t>(line.get(), Q7A_FILE_PORT), service.folder.c_str());
  int received = 0;
  while (!interrupted() && (service.count == 0 || received < service.count)) {
    patience.set(kLookSeconds);
    if (!send(line.get(), Q7M_FILE_ACCEPT)) continue;
    patience.set(service.patience);
    received += serve_one(session, line.get(), service.folder);
  }
  // Ctrl-C is how serving ends.
  session.say(Text::kServed, received);
}

void send_scene(Session &session, Referenced scene, const std::string &name, const std::string &peer) {
  std::string host;
  long port = 0;
  parse_peer(peer, host, port);
  int32_t error = 0;
  Owned line(Q7ObjectCreate(Q7C_FILE, Q7A_FILE_MODE, word("c"), Q7A_FILE_HOST, word(host.c_str()), Q7A_FILE_PORT,
                            static_cast<uint64_t>(port), Q7A_FILE_SYSTEM_ERROR, word(&error), 0));
  if (!line) {
    take_report();
    throw Failure(Text::kCannotConnect, peer.c_str(), std::strerror(error));
  }
  Q7Object *to = line.get();
  const bool sent = write_mark(to) && write_text(to, file_name(name)) &&
                    Q7ObjectSave(scene.get(), Q7A_STREAM, word(to), 0) && write_mark(to) && flush(to);
  // Also when not all was taken there may be an answer that says why.
  uint32_t taken = 0;
  std::string answer;
  const bool answered = send(to, Q7M_FILE_READ32, 0, 0, slot(&taken)) && read_text(to, answer);
  if (answered && !taken) throw Failure(Text::kPeerRefused, peer.c_str(), answer.c_str());
  if (!answered || !sent) throw failure_of(peer, Text::kPeerGone);
  session.say(Text::kSent, name.c_str(), peer.c_str());
}

}  // namespace studio
