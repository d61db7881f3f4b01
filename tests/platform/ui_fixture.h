// ui_fixture: a window of the layer, and short ways to make, ask and tell what lies in it.
#ifndef Q7_TESTS_PLATFORM_UI_FIXTURE_H
#define Q7_TESTS_PLATFORM_UI_FIXTURE_H

#include "core/q7root.h"
#include "tests/platform/mini_app.h"
#include "ui/q7dc.h"
#include "ui/q7gadget.h"
#include "ui/q7widget.h"

namespace q7test {

class UiOnLayer : public PlatformTest {
 protected:
  // What the listener heard.
  struct Heard {
    uint32_t method;
    uint64_t a, b, slot;
    bool operator==(const Heard &) const = default;
  };

  UiOnLayer() {
    Q7RegisterWindowClass(app());
    Q7RegisterOSGadgetClass(app());
    heard().clear();
    listener_ = make_probe([](Q7Object *, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *slot) -> uint64_t {
      heard().push_back({method, a, b, reinterpret_cast<uint64_t>(slot)});
      return 1;
    });
    window_ = Q7ObjectCreate(Q7C_WINDOW, Q7A_WIDGET_WIDTH, uint64_t{200}, Q7A_WIDGET_HEIGHT, uint64_t{100}, 0);
    Q7SendMsg(window_, Q7M_ADDREF, 0);
  }
  ~UiOnLayer() override {
    if (window_) Q7SendMsg(window_, Q7M_RELEASE, 0);
    Q7SendMsg(listener_, Q7M_RELEASE, 0);
  }
  static std::vector<Heard> &heard() {
    static std::vector<Heard> messages;
    return messages;
  }
  Q7Object *window() { return window_; }
  Q7Object *listener() { return listener_; }
  void forget_window() { window_ = nullptr; }

  static uint64_t message(Q7Object *object, uint32_t method, uint64_t a = 0, const void *slot = nullptr) {
    return object->dispatch(object->cl, object, method, a, 0, static_cast<Q7TagItem *>(const_cast<void *>(slot)));
  }
  static int32_t number(Q7Object *object, uint32_t tag) {
    int32_t value = -12345;
    Q7Get(object, tag, word(&value), 0);
    return value;
  }
  template <class T>
  static T pointer(Q7Object *object, uint32_t tag) {
    T value{};
    Q7Get(object, tag, word(&value), 0);
    return value;
  }
  Q7Object *gadget(const char *label, int32_t x, int32_t y, int32_t width, int32_t height, uint64_t look = 0) {
    return Q7ObjectCreate(Q7C_OSGADGET, Q7A_WIDGET_PARENT, word(window_), Q7A_GADGET_LABEL, word(label), Q7A_WIDGET_X,
                          static_cast<uint64_t>(x), Q7A_WIDGET_Y, static_cast<uint64_t>(y), Q7A_WIDGET_WIDTH,
                          static_cast<uint64_t>(width), Q7A_WIDGET_HEIGHT, static_cast<uint64_t>(height),
                          Q7A_GADGET_LOOK, look, 0);
  }
  // The listener hears the object's change notifications as method 100001.
  void listen(Q7Object *object) {
    Q7SendMsg(object, Q7M_WIDGET_ADD_CALLBACK, Q7A_CALLBACK_OBJECT, word(listener_), Q7A_CALLBACK_METHOD,
              uint64_t{100001}, 0);
  }

  uint64_t event(const Q7Event &event) { return message(window_, Q7M_WINDOW_EVENT, 0, &event); }
  uint64_t pointer_event(int32_t kind, int x, int y, int32_t button = 1) {
    return event({kind, button, 0, static_cast<int16_t>(x), static_cast<int16_t>(y), 0, 0, 0, 0, nullptr});
  }
  uint64_t press(int x, int y, int32_t button = 1) { return pointer_event(Q7EVENT_PRESS, x, y, button); }
  uint64_t release(int x, int y, int32_t button = 1) { return pointer_event(Q7EVENT_RELEASE, x, y, button); }
  uint64_t motion(int x, int y) { return pointer_event(Q7EVENT_MOTION, x, y, 0); }
  uint64_t click(int x, int y) {
    press(x, y);
    return release(x, y);
  }
  uint64_t key(int32_t key, uint32_t modifiers = 0) {
    return event({Q7EVENT_KEY, 0, modifiers, 0, 0, key, 0, 0, 0, nullptr});
  }
  uint64_t type(const char *text, uint32_t modifiers = 0) {
    return event({Q7EVENT_KEY, 0, modifiers, 0, 0, 0, 0, 0, 0, text});
  }
  // The window's picture as text.
  std::string picture() {
    const std::string path = home() / "picture.txt";
    EXPECT_EQ(Q7SendMsg(window_, Q7M_WINDOW_PICTURE, Q7A_DRAWING_PATH, word(path.c_str()), 0), 1u);
    return read_file(path);
  }

 private:
  Q7Object *window_;
  Q7Object *listener_;
};

}  // namespace q7test

#endif
