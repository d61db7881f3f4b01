// Tests of examples/plugin: a host with the lamp class loads it, uses its classes and ends.
#include <dlfcn.h>

#include <algorithm>
#include <filesystem>

#include <string>

#include "core/q7plugin.h"
#include "core/q7root.h"
#include "examples/plugin/lamps.h"
#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Plugin : public PlatformTest {
 protected:
  void SetUp() override { ASSERT_EQ(register_lamp_class(app()), 1); }
  static std::string path() { return std::string(Q7_PLUGINS) + "/libq7lamps.so"; }
  static bool is_loaded() {
    void *handle = dlopen(path().c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
  }
  int32_t load() {
    Q7SetPluginDir(app(), Q7_PLUGINS);
    return Q7LoadPluginLibrary(app(), "q7lamps");
  }
  static double power(Q7Object *lamp) {
    double watts = -1;
    EXPECT_EQ(Q7Get(lamp, Q7A_LAMP_POWER, word(&watts), 0), 0u);
    return watts;
  }
};

TEST_F(Plugin, WithoutItALampNeedsSixtyWatts) {
  Q7Object *lamp = Q7ObjectCreate(Q7C_LAMP, 0);
  EXPECT_EQ(power(lamp), 60);
  Q7ObjectDelete(lamp);
}

TEST_F(Plugin, ReplacesTheLampClassUnderBothIds) {
  ASSERT_EQ(load(), 1);
  EXPECT_EQ(Q7ClassFind(Q7C_LAMP), Q7ClassFind(Q7C_LEDLAMP));
  EXPECT_STREQ(Q7ClassFind(Q7C_LAMP)->header.name, "lamp") << "the settings are found by it";
  EXPECT_STREQ(Q7ClassFind(Q7C_LAMP)->description, "LED lamp");
  Q7Object *lamp = Q7ObjectCreate(Q7C_LAMP, Q7A_NAME, word("hall"), Q7A_LAMP_BRIGHTNESS, uint64_t{50}, 0);
  ASSERT_NE(lamp, nullptr);
  EXPECT_EQ(lamp->clid, uint32_t{Q7C_LEDLAMP});
  EXPECT_DOUBLE_EQ(power(lamp), 4.5) << "half of 60 W, and 15 % of that";
  EXPECT_EQ(Q7SendMsg(lamp, Q7M_LAMP_SWITCH, 0), 0u) << "what it leaves alone the host's own code does";
  EXPECT_EQ(Q7SendMsg(lamp, Q7M_LAMP_SWITCH, 0), 100u);
  Q7ObjectDelete(lamp);
  EXPECT_TRUE(errors().empty());
}

TEST_F(Plugin, AddsTheDimmer) {
  ASSERT_EQ(load(), 1);
  Q7Object *dimmer = Q7ObjectCreate(Q7C_DIMMER, Q7A_DIMMER_STEP, uint64_t{40}, 0);
  ASSERT_NE(dimmer, nullptr);
  EXPECT_EQ(Q7ObjectIsOfKind(dimmer, Q7C_LEDLAMP), 2);
  EXPECT_DOUBLE_EQ(power(dimmer), 9) << "it stands on the replaced class";
  EXPECT_EQ(Q7SendMsg(dimmer, Q7M_DIMMER_DIM, 0), 60u);
  EXPECT_EQ(Q7SendMsg(dimmer, Q7M_DIMMER_DIM, 0), 20u);
  EXPECT_EQ(Q7SendMsg(dimmer, Q7M_DIMMER_DIM, 0), 0u);
  int32_t step = 0;
  int32_t brightness = -1;
  EXPECT_EQ(Q7Get(dimmer, Q7A_DIMMER_STEP, word(&step), Q7A_LAMP_BRIGHTNESS, word(&brightness), 0), 0u);
  EXPECT_EQ(step, 40);
  EXPECT_EQ(brightness, 0);
  Q7ObjectDelete(dimmer);
}

TEST_F(Plugin, IsRefusedWhileALampLives) {
  Q7Object *lamp = Q7ObjectCreate(Q7C_LAMP, 0);
  EXPECT_EQ(load(), 0);
  EXPECT_FALSE(is_loaded());
  EXPECT_EQ(Q7ClassFind(Q7C_DIMMER), nullptr);
  EXPECT_EQ(Q7NodeCount(&app()->libraries), 0);
  EXPECT_EQ(errors().size(), 2u) << "the replacement that was refused, and the registration that failed";
  Q7ObjectDelete(lamp);
  EXPECT_EQ(load(), 1);
}

TEST_F(Plugin, IsClosedAtTheEnd) {
  ASSERT_EQ(load(), 1);
  EXPECT_EQ(load(), 1) << "a second opening";
  EXPECT_GE(Q7NodeCount(&app()->libraries), 1);
  EXPECT_TRUE(is_loaded());
  Q7OopsFree(app());
  EXPECT_EQ(Q7NodeCount(&app()->libraries), 0);
  EXPECT_FALSE(is_loaded());
  EXPECT_TRUE(errors().empty());
  Q7OopsInit(app());
}

TEST_F(Plugin, ScanningItsFolderFindsIt) {
  EXPECT_EQ(Q7RegisterExternalClasses(app(), Q7_PLUGINS), 1);
  EXPECT_NE(Q7ClassFind(Q7C_DIMMER), nullptr);
  // The other plug-ins of the build lie there too.
  const std::filesystem::directory_iterator folder(Q7_PLUGINS);
  const auto built =
      std::count_if(begin(folder), end(folder), [](const auto &e) { return e.path().extension() == ".so"; });
  EXPECT_EQ(Q7NodeCount(&app()->libraries), built);
}

}  // namespace
