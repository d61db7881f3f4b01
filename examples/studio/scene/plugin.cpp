// plugin: what the plug-in library registers, superclasses first.
#include <initializer_list>

#include "core/q7root.h"
#include "examples/studio/scene/sceneclass.hpp"
#include "platform/q7platform.h"

// What Q7LibraryOpen calls.
extern "C" Q7_API int32_t Q7LibraryRegister(Q7App *app) {
  if (!Q7RegisterRootClass(app)) return 0;
  for (const scene::ClassDef *def : {&scene::node_class, &scene::group_class, &scene::mesh_class, &scene::camera_class,
                                     &scene::light_class, &scene::material_class, &scene::scene_class}) {
    if (!scene::add_class(*def)) return 0;
  }
  return 1;
}
