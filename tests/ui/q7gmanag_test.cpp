// Tests of the geometry manager's base class.
#include "tests/ui/ui_test.h"

using namespace uitest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Gmanager : public UiTest {};

TEST_F(Gmanager, TellsSlavesTheirManager) {
  Q7Object *g = make(24), *w = make(41);
  EXPECT_EQ(list_message(g, 24000, {{24500, num(w)}}), num(g));
  EXPECT_EQ(object_of(w, 41543), g);
  list_message(g, 24001, {{24500, num(w)}});
  EXPECT_EQ(object_of(w, 41543), nullptr);
  EXPECT_EQ(list_message(g, 24000, {}), num(g));
  EXPECT_EQ(list_message(g, 24000, {{24500, num(g)}}), 0u);
  EXPECT_EQ(message(g, 24006), num(g));
  EXPECT_EQ(message(g, 24007), num(g));
  Q7ObjectDelete(g);
  Q7ObjectDelete(w);
}

TEST_F(Gmanager, NeutralSizes) {
  Q7Object *g = make(24), *master = make(24);
  EXPECT_EQ(get(g, 24503), 0);
  EXPECT_EQ(get(g, 24504), 16777215);
  EXPECT_EQ(get(g, 24505), 16777215);
  set(g, {{24506, num(master)}});
  EXPECT_EQ(object_of(g, 24506), master);
  Q7ObjectDelete(master);
  EXPECT_EQ(object_of(g, 24506), nullptr);
  Q7ObjectDelete(g);
}

// A manager whose layout asks for another one while it runs.
std::vector<uint32_t> seen;
uint64_t laying_out(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method >= 24000 && method < 25000) seen.push_back(method);
  if (method == 24002) {
    message(obj, 41000);
    return num(obj);
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

// A manager that a slave's answer to being laid out disposes of.
uint64_t disposes_itself(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != 24002) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  Q7ObjectDelete(obj);
  return 0;
}

TEST_F(Gmanager, MayBeDisposedOfByItsLayout) {
  Q7ClassCreate(24, 2911, disposes_itself, 0, 0);
  message(make(2911), 41000);
  EXPECT_EQ(instances(24), 0u);
}

TEST_F(Gmanager, LayoutRequestsAreCoalesced) {
  Q7ClassCreate(24, 2910, laying_out, 0, 0);
  seen.clear();
  Q7Object *g = make(2910);
  EXPECT_EQ(message(g, 41000), num(g));
  EXPECT_THAT(seen, ElementsAre(24003, 24002));
  message(g, 24003);  // nothing is pending
  EXPECT_THAT(seen, ElementsAre(24003, 24002, 24003));
  message(g, 41000);
  EXPECT_EQ(seen.size(), 5u);
  Q7ObjectDelete(g);
}

}  // namespace
