// network: scenes over connections.
#ifndef Q7_STUDIO_NETWORK_HPP
#define Q7_STUDIO_NETWORK_HPP

#include <string>

#include "examples/studio/object.hpp"
#include "examples/studio/session.hpp"

namespace studio {

struct Service {
  std::string bind;
  int port;
  std::string folder;
  int count;     // 0: no end
  int patience;  // seconds that a sender may keep silent
};

// Receives scenes and saves them into a folder, under names that nothing has yet, until a signal asks for the end or
// `count` scenes have come. A peer that breaks off, stalls or sends nonsense is told of in a line and forgotten.
void serve(Session &session, const Service &service);

// Sends a scene under a name. Throws Failure, also when the other side has not taken it.
void send_scene(Session &session, Referenced scene, const std::string &name, const std::string &peer);

}  // namespace studio

#endif
