// q7layout: the program as a user calls it. The rectangles of the documentation's layouts, worked out by hand from the
// rules, and every mistake that a description can have.
#include <sys/wait.h>

#include <map>

#include "tests/support/test_support.h"

namespace {

using q7test::read_file;
using q7test::write_file;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using Rects = std::map<std::string, std::string>;

class Layout : public q7test::Test {
 protected:
  int call(const std::string &words) {
    const std::string command = "cd '" + home().string() + "' && '" Q7_LAYOUT "' " + words + " > out 2> err";
    const int status = std::system(command.c_str());
    out_ = read_file(home() / "out");
    err_ = read_file(home() / "err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  int run(const std::string &description, const std::string &options = "") {
    write_file(home() / "f", description);
    return call("f " + options);
  }
  // What the documentation's layout of that name gives.
  void document(const std::string &name, const std::string &options = "") {
    ASSERT_EQ(call("'" Q7_DOCS "/layouts/" + name + ".layout' " + options), 0) << err_;
  }
  // One array of the line of an item.
  std::string field(const std::string &name, const std::string &key) const {
    const size_t line = out_.find("\"name\":\"" + name + "\"");
    if (line == std::string::npos) return "no " + name;
    const size_t at = out_.find("\"" + key + "\":[", line), end = out_.find('\n', line);
    if (at > end) return "none";
    const size_t from = at + key.size() + 4;
    return out_.substr(from, out_.find(']', from) - from);
  }
  void expect(const Rects &rects) const {
    for (const auto &[name, rect] : rects) EXPECT_EQ(field(name, "rect"), rect) << name;
  }
  // The one line that a mistake is told with.
  std::string mistake(const std::string &description) {
    EXPECT_EQ(run(description), 1) << description;
    EXPECT_EQ(out_, "");
    return err_;
  }
  std::string out_, err_;
};

// ---- The documentation's layouts

TEST_F(Layout, Anchors) {
  document("anchors");
  expect({{"upper", "0,0,390,60"},
          {"cell5", "130,60,130,60"},
          {"top-left", "0,0,90,20"},
          {"top", "150,0,90,20"},
          {"top-right", "300,0,90,20"},
          {"left", "0,80,90,20"},
          {"center", "150,80,90,20"},
          {"right", "300,80,90,20"},
          {"bottom-left", "0,160,90,20"},
          {"bottom", "150,160,90,20"},
          {"bottom-right", "300,160,90,20"}});
  EXPECT_EQ(field("rows", "min"), "270,60");
}

TEST_F(Layout, Aligned) {
  document("aligned");
  expect({{"name", "20,0,180,20"}, {"address", "0,20,200,20"}, {"age", "40,40,160,20"}});
  EXPECT_EQ(field("form", "min"), "120,60");
}

TEST_F(Layout, Fill) {
  document("fill");
  expect({{"none", "20,30,40,20"}, {"x", "80,30,80,20"}, {"y", "180,0,40,80"}, {"both", "240,0,80,80"}});
}

TEST_F(Layout, Expand) {
  document("expand");
  expect({{"a", "0,0,56,40"}, {"b", "56,0,56,40"}, {"c", "112,0,56,40"}, {"rigid", "168,10,30,20"}});
}

TEST_F(Layout, Padding) {
  document("padding");
  expect({{"padded", "28,5,44,28"}, {"plain", "30,38,40,10"}});
  EXPECT_EQ(field("column", "min"), "50,48");
}

TEST_F(Layout, Frame) {
  document("frame");
  expect({{"framed", "0,0,120,60"}, {"a", "4,14,112,42"}});
  EXPECT_EQ(field("framed", "frame"), "0,0,120,60");
  EXPECT_EQ(field("framed", "min"), "58,38");
  EXPECT_EQ(field("a", "given"), "0,0,112,42");
}

TEST_F(Layout, Placer) {
  document("placer");
  expect({{"half", "51,0,51,60"}, {"pixels", "10,5,30,20"}});
}

TEST_F(Layout, Splitter) {
  document("splitter");
  expect({{"left", "0,0,97,80"}, {"bar", "97,0,6,80"}, {"right", "103,0,97,80"}});
}

TEST_F(Layout, Rows) {
  document("rows");
  expect({{"a", "0,0,40,20"}, {"c", "80,0,40,20"}, {"d", "0,20,40,20"}, {"f", "80,20,40,20"}, {"g", "0,40,40,20"}});
  EXPECT_THAT(out_, HasSubstr("\"name\":\"g\",\"kind\":\"widget\",\"in\":\"palette\",\"row\":\"row2\""));
}

// ---- Dragging

TEST_F(Layout, ADraggedSplitterMovesTheBoundary) {
  document("splitter", "--drag bar 30,0");
  expect({{"left", "0,0,127,80"}, {"bar", "127,0,6,80"}, {"right", "133,0,67,80"}});
  EXPECT_THAT(out_, HasSubstr("\"drags\":[{\"splitter\":\"bar\",\"asked\":30,\"moved\":30}]"));
}

TEST_F(Layout, ADragEndsAtTheMinimum) {
  document("splitter", "--drag bar 200,0");
  expect({{"left", "0,0,164,80"}, {"bar", "164,0,6,80"}, {"right", "170,0,30,80"}});
  EXPECT_THAT(out_, HasSubstr("\"moved\":67"));
}

TEST_F(Layout, DragsFollowOneAnother) {
  document("splitter", "--drag bar 30,0 --drag bar -10,0");
  expect({{"left", "0,0,117,80"}, {"right", "123,0,77,80"}});
}

TEST_F(Layout, ASplitterBelowIsDraggedDown) {
  ASSERT_EQ(run("size 60x200\nplacer p {\n widget a width=100% height=50% min=5x10\n"
                " widget b y=50% width=100% height=50% min=5x10\n splitter s top=a bottom=b\n}\n",
                "--drag s 99,20"),
            0);
  expect({{"a", "0,0,60,117"}, {"s", "0,117,60,6"}, {"b", "0,123,60,77"}});
}

// ---- Sizes, files, pictures

TEST_F(Layout, WithoutASizeTheNaturalOneIsTaken) {
  ASSERT_EQ(run("packer p direction=across { widget a min=40x20\n widget b min=60x10 }"), 0);
  EXPECT_THAT(out_, StartsWith("{\"size\":[100,20],\"natural\":[100,20],"));
  ASSERT_EQ(run("packer p { widget a min=40x20\n widget b min=60x10 }", "--size 80x50"), 0);
  EXPECT_THAT(out_, StartsWith("{\"size\":[80,50],\"natural\":[60,30],"));
}

TEST_F(Layout, RowsWrapAtALimit) {
  ASSERT_EQ(
      run("rowcol r direction=across limit=100x0 { widget a min=40x10\n widget b min=40x10\n widget c min=40x10 }"), 0);
  EXPECT_THAT(out_, StartsWith("{\"size\":[80,20],"));
  expect({{"a", "0,0,40,10"}, {"b", "40,0,40,10"}, {"c", "0,10,40,10"}});
}

TEST_F(Layout, AHiddenPackerTakesNoRoom) {
  ASSERT_EQ(run("packer p { packer q hidden { widget a min=40x20 }\n widget b min=60x10 }"), 0);
  EXPECT_EQ(field("q", "min"), "0,0");
  expect({{"b", "0,0,60,10"}});
}

TEST_F(Layout, RectanglesGoToAFile) {
  ASSERT_EQ(run("packer p { widget a min=40x20 }", "--json r.json"), 0);
  EXPECT_EQ(out_, "");
  EXPECT_THAT(read_file(home() / "r.json"), HasSubstr("\"name\":\"a\""));
  EXPECT_EQ(run("packer p { widget a min=40x20 }", "--json no/r.json"), 1);
  EXPECT_THAT(err_, HasSubstr("q7layout: no/r.json: cannot be written"));
}

TEST_F(Layout, PicturesShowTheRectangles) {
  document("splitter", "--picture p.txt --json /dev/null");
  const std::string text = read_file(home() / "p.txt");
  EXPECT_THAT(text, StartsWith("drawing 200 80 "));
  EXPECT_THAT(text, HasSubstr("fill-rectangle 0,0 97 80\n"));
  EXPECT_THAT(text, HasSubstr("fill-rectangle 97,0 6 80\n"));
  EXPECT_THAT(text, HasSubstr("\"right\""));
  document("splitter", "--picture p.svg --json /dev/null");
  EXPECT_THAT(read_file(home() / "p.svg"), HasSubstr("<svg"));
  document("splitter", "--picture p.png --json /dev/null");
  EXPECT_THAT(read_file(home() / "p.png"), StartsWith("\x89PNG"));
  EXPECT_EQ(run("packer p { widget a min=4x2 }", "--picture no/p.svg"), 1);
}

TEST_F(Layout, EveryLayoutOfTheDocumentationHasItsPicture) {
  int count = 0;
  for (const auto &entry : std::filesystem::directory_iterator(Q7_DOCS "/layouts")) {
    const std::string picture = Q7_DOCS "/pictures/" + entry.path().stem().string() + ".svg";
    EXPECT_TRUE(std::filesystem::exists(picture)) << picture;
    ++count;
  }
  EXPECT_EQ(count, 9);
}

// ---- Command lines

TEST_F(Layout, WrongCommandLines) {
  EXPECT_EQ(call(""), 2);
  EXPECT_EQ(run("packer p", "--size 10"), 2);
  EXPECT_EQ(run("packer p", "--nonsense"), 2);
  EXPECT_EQ(run("packer p", "--drag s 3,4"), 2);
  EXPECT_THAT(err_, HasSubstr("--drag: there is no splitter \"s\""));
  EXPECT_EQ(call("'" Q7_DOCS "/layouts/splitter.layout' --drag bar far"), 2);
  EXPECT_THAT(err_, HasSubstr("--drag: \"far\" is no distance"));
  EXPECT_EQ(call("nothing"), 1);
  EXPECT_THAT(err_, HasSubstr("q7layout: nothing: cannot be opened"));
}

// ---- Mistakes in descriptions

struct Wrong {
  const char *description, *message;
};
class Mistakes : public Layout, public ::testing::WithParamInterface<Wrong> {};
TEST_P(Mistakes, AreToldWithTheirLine) {
  EXPECT_EQ(mistake(GetParam().description), "q7layout: f:" + std::string(GetParam().message) + "\n");
}
INSTANTIATE_TEST_SUITE_P(
    Descriptions, Mistakes,
    ::testing::Values(
        Wrong{"", "1: nothing is described"}, Wrong{"# only a comment\n", "2: nothing is described"},
        Wrong{"box b", "1: \"box\" is no packer, placer, rowcol, widget or splitter"},
        Wrong{"packer", "1: packer has no name"}, Wrong{"packer keep=1", "1: packer has no name"},
        Wrong{"packer p {\n widget p\n}", "2: the name \"p\" is taken"},
        Wrong{"packer p {\n\n", "1: \"{\" of \"p\" has no \"}\""}, Wrong{"packer p\n}", "2: \"}\" without \"{\""},
        Wrong{"{", "1: \"{\" without a packer, placer or rowcol in front of it"},
        Wrong{"packer p\npacker q", "2: \"q\" lies outside of \"p\""},
        Wrong{"widget w", "1: the outermost one is a packer, placer or rowcol"},
        Wrong{"packer p {\n widget w {\n", "2: widget \"w\" holds nothing"},
        Wrong{"packer p {\n splitter s\n}", "2: splitters lie in placers"},
        Wrong{"packer p color=red", "1: unknown option \"color\""},
        Wrong{"packer p min=3x4", "1: packer has no option \"min\""},
        Wrong{"packer p {\n widget w x=3\n}", "2: \"x\" is for what lies in a placer"},
        Wrong{"placer p {\n widget w expand\n}", "2: \"expand\" is for what lies in a packer or rowcol"},
        Wrong{"packer p {\n widget w expand=1\n}", "2: \"expand\" takes no value"},
        Wrong{"packer p {\n widget w min=3\n}", "2: \"min\" needs a size, as in min=80x24, not \"3\""},
        Wrong{"packer p {\n widget w min\n}", "2: \"min\" needs a size, as in min=80x24"},
        Wrong{"packer p {\n widget w min=-3x4\n}", "2: \"min\" needs a size, as in min=80x24, not \"-3x4\""},
        Wrong{"packer p {\n widget w pad=1,2,3\n}", "2: \"pad\" needs one number or two, as in pad=4,2, not \"1,2,3\""},
        Wrong{"packer p {\n widget w pad=99999999999\n}",
              "2: \"pad\" needs one number or two, as in pad=4,2, not \"99999999999\""},
        Wrong{"packer p {\n widget w fill=z\n}", "2: \"fill\" needs x, y or both, not \"z\""},
        Wrong{"packer p {\n widget w anchor=up\n}",
              "2: \"anchor\" needs a side or a corner, as in anchor=top-left, or center, aligned or a number, not "
              "\"up\""},
        Wrong{"packer p {\n widget w stretch=x\n}", "2: \"stretch\" needs both, down, across or none, not \"x\""},
        Wrong{"packer p direction=up", "1: \"direction\" needs down or across, not \"up\""},
        Wrong{"packer p frame=1,2",
              "1: \"frame\" needs one number or four (left, top, right, bottom), as in frame=2,14,2,2, not \"1,2\""},
        Wrong{"rowcol r per-row=x", "1: \"per-row\" needs a number, as in per-row=3, not \"x\""},
        Wrong{"placer p {\n widget w width=5p\n}", "2: \"width\" needs pixels or percent, as in width=50%, not \"5p\""},
        Wrong{"placer p {\n widget w width=-5%\n}",
              "2: \"width\" needs pixels or percent, as in width=50%, not \"-5%\""},
        Wrong{"placer p {\n widget a\n splitter s left=a\n}",
              "3: splitter \"s\" needs left and right, or top and bottom"},
        Wrong{"placer p {\n widget a\n splitter s left=a bottom=a\n}",
              "3: a splitter lies between left and right or between top and bottom"},
        Wrong{"placer p {\n splitter s left=a\n}", "2: \"a\" does not lie in \"p\" in front of the splitter"},
        Wrong{"size 3\npacker p", "1: size needs a width and a height, as in \"size 320x200\""},
        Wrong{"packer p\nsize 3x4", "2: size stands once, in front of everything"}));

TEST_F(Layout, NestingHasALimit) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += "packer p" + std::to_string(i) + " {\n";
  EXPECT_EQ(mistake(text), "q7layout: f:1001: nested too deep\n");
}

TEST_F(Layout, ALargeDescriptionIsLaidOut) {
  std::string text = "packer all {\n";
  for (int i = 0; i < 3000; ++i) text += "widget w" + std::to_string(i) + " min=10x2\n";
  ASSERT_EQ(run(text + "}\n"), 0);
  EXPECT_THAT(out_, StartsWith("{\"size\":[10,6000],"));
  expect({{"w2999", "0,5998,10,2"}});
}

}  // namespace
