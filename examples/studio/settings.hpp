// settings: what the studio remembers from one run to the next, kept by the library as the settings of a class: pixels,
// threads and rays a pixel for when the command line does not say. A value of 0 stands for the built-in choice.
#ifndef Q7_STUDIO_SETTINGS_HPP
#define Q7_STUDIO_SETTINGS_HPP

#include "core/q7oops.h"

namespace studio {

enum {
  kStudioClass = 4210,     // "studio"
  kStudioWidth = 4210500,  // class attributes, int32_t: "Width"
  kStudioHeight = 4210501,
  kStudioThreads = 4210502,
  kStudioSamples = 4210503
};

// Registers the class; the library reads its settings then and writes them when the application ends. 1, or 0
int32_t register_settings_class(Q7App *app);

// The remembered value of a class attribute.
int32_t remembered(uint32_t attribute);
void remember(uint32_t attribute, int32_t value);

}  // namespace studio

#endif
