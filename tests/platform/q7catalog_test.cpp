#include <cstdlib>
#include <regex>

#include "platform/posix/mofile.hpp"
#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

// A catalogue file built by hand: the entries must be in byte order of their keys.
std::string build_catalogue(const std::vector<std::pair<std::string, std::string>> &entries, bool swapped = false) {
  auto put = [&](std::string &out, uint32_t value) {
    if (swapped) value = __builtin_bswap32(value);
    out.append(reinterpret_cast<const char *>(&value), 4);
  };
  auto count = static_cast<uint32_t>(entries.size());
  std::string keys;
  std::string texts;
  std::string strings;
  uint32_t start = 28 + count * 16;
  auto add = [&](std::string &table, const std::string &text) {
    put(table, static_cast<uint32_t>(text.size()));
    put(table, start + static_cast<uint32_t>(strings.size()));
    strings += text + '\0';
  };
  for (auto &entry : entries) add(keys, entry.first);
  for (auto &entry : entries) add(texts, entry.second);
  std::string header;
  for (uint32_t value : {0x950412deu, 0u, count, 28u, 28 + count * 8, 0u, 28 + count * 16}) put(header, value);
  return header + keys + texts + strings;
}

class Catalogues : public PlatformTest {
 protected:
  Catalogues() {
    snprintf(app()->language, sizeof app()->language, "german");
    setenv("Q7_LOCALE_DIR", (home() / "locale").c_str(), 1);
  }
  void install(const std::string &language, const std::string &catalogue, const std::string &content) {
    auto folder = home() / "locale" / language / "LC_MESSAGES";
    std::filesystem::create_directories(folder);
    write_file(folder / (catalogue + ".mo"), content);
  }
  Q7LocaleEntry *open(const std::string &catalogue = "cat") {
    return static_cast<Q7LocaleEntry *>(Q7AppOpenLocale(app(), catalogue.c_str(), "mod", table_, 3));
  }
  // Files are read once, so each content needs a name of its own.
  std::string install_new(const std::string &content) {
    std::string name = "cat" + std::to_string(++installed_);
    install("de", name, content);
    return name;
  }
  int installed_ = 0;
  Q7LocaleEntry table_[3] = {{"A", "Alpha", 0}, {"B", "Beta", 0}, {"F", "%d of %s", 0}};
};

TEST_F(Catalogues, WithoutATranslationTheDefaultsAreGiven) {
  Q7LocaleEntry *texts = open();
  ASSERT_NE(texts, nullptr);
  EXPECT_NE(texts, table_);
  EXPECT_STREQ(texts[0].key, "A");
  EXPECT_STREQ(texts[0].text, "Alpha");
  EXPECT_STREQ(texts[2].text, "%d of %s");
  EXPECT_EQ(Q7AppCloseLocale(app(), texts, 3), 1);
}

TEST_F(Catalogues, ATranslationIsFoundByModuleAndKey) {
  install("de", "cat", build_catalogue({{"mod\4A", "Eins"}, {"other\4B", "Falsch"}}));
  Q7LocaleEntry *texts = open();
  EXPECT_STREQ(texts[0].text, "Eins");
  EXPECT_STREQ(texts[1].text, "Beta");
  Q7AppCloseLocale(app(), texts, 3);
}

TEST_F(Catalogues, BothByteOrdersAreRead) {
  install("de", "cat", build_catalogue({{"mod\4A", "Eins"}}, true));
  Q7LocaleEntry *texts = open();
  EXPECT_STREQ(texts[0].text, "Eins");
  Q7AppCloseLocale(app(), texts, 3);
}

TEST_F(Catalogues, TheRegionFallsBackToTheLanguage) {
  install("de", "cat", build_catalogue({{"mod\4A", "Eins"}, {"mod\4B", "Zwei"}}));
  install("de_AT", "cat", build_catalogue({{"mod\4A", "Oans"}}));
  snprintf(app()->language, sizeof app()->language, "de_AT.UTF-8");
  Q7LocaleEntry *texts = open();
  EXPECT_STREQ(texts[0].text, "Oans");
  EXPECT_STREQ(texts[1].text, "Zwei");
  Q7AppCloseLocale(app(), texts, 3);
}

TEST_F(Catalogues, LanguagesAreKnownByNameAndCode) {
  install("de", "cat", build_catalogue({{"mod\4A", "Eins"}}));
  for (const char *name : {"de", "german", "German", "Deutsch", "de.UTF-8", "de_CH"}) {
    snprintf(app()->language, sizeof app()->language, "%s", name);
    Q7LocaleEntry *texts = open();
    EXPECT_STREQ(texts[0].text, "Eins") << name;
    Q7AppCloseLocale(app(), texts, 3);
  }
}

TEST_F(Catalogues, ALanguageCannotLeaveTheFolder) {
  install("de", "cat", build_catalogue({{"mod\4A", "Eins"}}));
  for (const char *name : {"../locale/de", "/de", "", ".", "de/../de"}) {
    snprintf(app()->language, sizeof app()->language, "%s", name);
    Q7LocaleEntry *texts = open();
    EXPECT_STREQ(texts[0].text, "Alpha") << name;
    Q7AppCloseLocale(app(), texts, 3);
  }
}

TEST_F(Catalogues, ACatalogueCannotLeaveTheFolder) {
  EXPECT_EQ(Q7AppOpenLocale(app(), "../cat", "mod", table_, 3), nullptr);
  EXPECT_EQ(Q7AppOpenLocale(app(), "", "mod", table_, 3), nullptr);
}

TEST_F(Catalogues, TextsOpenedBeforeTheLanguageAreRefreshedInPlace) {
  install("de", "cat", build_catalogue({{"mod\4A", "Eins"}}));
  install("fi", "cat", build_catalogue({{"mod\4A", "Yksi"}}));
  Q7LocaleEntry *texts = open();
  const char *early = texts[0].text;
  snprintf(app()->language, sizeof app()->language, "finnish");
  EXPECT_EQ(J7SystemDependInitP2(app(), 0, nullptr, 0, nullptr), 1);
  EXPECT_STREQ(texts[0].text, "Yksi");
  EXPECT_STREQ(early, "Eins") << "a text that was taken out stays valid";
  snprintf(app()->language, sizeof app()->language, "english");
  J7SystemDependInitP2(app(), 0, nullptr, 0, nullptr);
  EXPECT_STREQ(texts[0].text, "Alpha");
  Q7AppCloseLocale(app(), texts, 3);
}

TEST_F(Catalogues, ATranslationTakesTheSameArguments) {
  struct Case {
    const char *translation;
    const char *shown;
  };
  for (Case c :
       {Case{"%d von %s", "%d von %s"}, Case{"%5d von %-8s", "%5d von %-8s"}, Case{"%s von %d", "%d of %s"},
        Case{"%d", "%d of %s"}, Case{"%d %s %n", "%d of %s"}, Case{"%ld %s", "%d of %s"}, Case{"%*d %s", "%d of %s"},
        Case{"%2$d %1$s", "%d of %s"}, Case{"%i von %s 100%%", "%i von %s 100%%"}, Case{"%d %s %", "%d of %s"}}) {
    Q7LocaleEntry *texts = open(install_new(build_catalogue({{"mod\4F", c.translation}})));
    EXPECT_STREQ(texts[2].text, c.shown) << c.translation;
    Q7AppCloseLocale(app(), texts, 3);
  }
}

TEST_F(Catalogues, BrokenUtf8IsNotShown) {
  for (const char *bad : {"\xff", "a\xc3", "\xed\xa0\x80", "\xc0\xaf", "\xf5\x80\x80\x80", "\xe0\x80\x80"}) {
    Q7LocaleEntry *texts = open(install_new(build_catalogue({{"mod\4A", bad}})));
    EXPECT_STREQ(texts[0].text, "Alpha");
    Q7AppCloseLocale(app(), texts, 3);
  }
  install("de", "cat", build_catalogue({{"mod\4A", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"}}));
  Q7LocaleEntry *texts = open();
  EXPECT_STREQ(texts[0].text, "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
  Q7AppCloseLocale(app(), texts, 3);
}

TEST_F(Catalogues, WhatIsNoCatalogueIsReported) {
  install("de", "cat", std::string(100, 'x'));
  Q7LocaleEntry *texts = open();
  EXPECT_STREQ(texts[0].text, "Alpha");
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_EQ(errors()[0], "q7catalog: " + (home() / "locale/de/LC_MESSAGES/cat.mo").string() + " is no catalogue");
  Q7AppCloseLocale(app(), texts, 3);
}

TEST_F(Catalogues, EveryTruncationAndEveryChangedByteIsSurvived) {
  std::string whole = build_catalogue({{"mod\4A", "Eins"}, {"mod\4B", "Zwei"}, {"mod\4F", "%d von %s"}});
  auto look = [](const std::string &content) {
    // A block of exactly the size, so that the sanitizer sees every byte too far.
    auto *bytes = static_cast<char *>(malloc(content.size() + 1));
    memcpy(bytes, content.data(), content.size());
    bytes[content.size()] = 0;
    q7posix::MoFile file;
    if (file.attach(bytes, static_cast<uint32_t>(content.size()))) {
      for (const char *key : {"A", "B", "F", "Z", ""}) {
        const char *text = file.find("mod", key);
        EXPECT_LE(text ? strlen(text) : 0, content.size());
      }
    }
    free(bytes);
  };
  for (size_t size = 0; size < whole.size(); ++size) look(whole.substr(0, size));
  for (size_t i = 0; i < whole.size(); ++i) {
    for (int value : {0, 1, 0x7f, 0x80, 0xff}) {
      std::string changed = whole;
      changed[i] = static_cast<char>(value);
      look(changed);
    }
  }
}

TEST_F(Catalogues, GermanAndFinnishAreShipped) {
  unsetenv("Q7_LOCALE_DIR");
  Q7LocaleEntry table[] = {{"Cancel", "Cancel", 0}, {"NotEnoughMemory", "Cannot allocate %du bytes", 0}};
  auto *texts = static_cast<Q7LocaleEntry *>(Q7AppOpenLocale(app(), "q7common", "q7appstr", table, 2));
  EXPECT_STREQ(texts[0].text, "Abbrechen");
  EXPECT_STREQ(texts[1].text, "%d Bytes können nicht belegt werden");
  Q7AppCloseLocale(app(), texts, 2);
  snprintf(app()->language, sizeof app()->language, "finnish");
  texts = static_cast<Q7LocaleEntry *>(Q7AppOpenLocale(app(), "q7common", "q7appstr", table, 2));
  EXPECT_STREQ(texts[0].text, "Peruuta");
  EXPECT_STREQ(texts[1].text, "Muistia ei voi varata: %d tavua");
  Q7AppCloseLocale(app(), texts, 2);
}

TEST_F(Catalogues, GadgetTextsAreShipped) {
  unsetenv("Q7_LOCALE_DIR");
  Q7LocaleEntry table[] = {{"Yes", "Yes", 0}, {"YesKey", "Y", 0}, {"Reserved14", "Reserved", 0}};
  auto *texts = static_cast<Q7LocaleEntry *>(Q7AppOpenLocale(app(), "q7common", "q7gadget", table, 3));
  EXPECT_STREQ(texts[0].text, "Ja");
  EXPECT_STREQ(texts[1].text, "J");
  EXPECT_STREQ(texts[2].text, "Reserved");
  Q7AppCloseLocale(app(), texts, 3);
}

TEST_F(Catalogues, TheProcessesLocaleIsNotChanged) {
  std::string before = setlocale(LC_ALL, nullptr);
  install("de", "cat", build_catalogue({{"mod\4A", "Eins"}}));
  Q7AppCloseLocale(app(), open(), 3);
  EXPECT_EQ(before, setlocale(LC_ALL, nullptr));
}

TEST_F(Catalogues, ClosingWorksOnceAndWithoutAnApplication) {
  Q7LocaleEntry *texts = open();
  EXPECT_EQ(Q7AppCloseLocale(nullptr, texts, 3), 1);
  EXPECT_EQ(Q7AppCloseLocale(app(), texts, 3), 0);
  EXPECT_EQ(Q7AppCloseLocale(app(), nullptr, 0), 0);
}

TEST_F(Catalogues, WithoutAnApplicationTheDefaultsAreGiven) {
  auto *texts = static_cast<Q7LocaleEntry *>(Q7AppOpenLocale(nullptr, "cat", "mod", table_, 3));
  EXPECT_STREQ(texts[1].text, "Beta");
  Q7AppCloseLocale(nullptr, texts, 3);
}

TEST_F(Catalogues, NullsFail) {
  EXPECT_EQ(Q7AppOpenLocale(app(), nullptr, "mod", table_, 3), nullptr);
  EXPECT_EQ(Q7AppOpenLocale(app(), "cat", nullptr, table_, 3), nullptr);
  EXPECT_EQ(Q7AppOpenLocale(app(), "cat", "mod", nullptr, 3), nullptr);
}

TEST_F(Catalogues, EveryFailingAllocationGivesNullOrDefaults) {
  install("de", "cat", build_catalogue({{"mod\4A", "Eins"}}));
  bool failed = true;
  for (int64_t n = 1; failed; ++n) {
    AllocGate gate;
    gate.fail(n);
    Q7LocaleEntry *texts = open();
    failed = gate.refused() != 0;
    std::string text = texts ? texts[0].text : "none";
    EXPECT_TRUE(text == "Eins" || (failed && (text == "Alpha" || text == "none"))) << text;
    Q7AppCloseLocale(app(), texts, 3);
  }
}

// The tables of default texts, as they stand in the sources: a module and its keys.
std::vector<std::pair<std::string, std::string>> texts_of_the_library() {
  const std::pair<const char *, const char *> tables[] = {{"app/q7appstr.cpp", "q7appstr"},
                                                          {"core/q7root.cpp", "q7root"},
                                                          {"io/q7file.cpp", "q7file"},
                                                          {"io/q7iff.cpp", "q7iff"},
                                                          {"ui/q7gadget.cpp", "q7gadget"}};
  std::vector<std::pair<std::string, std::string>> keys;
  for (auto [file, module] : tables) {
    const std::string source = read_file(std::filesystem::path(Q7_TEST_SOURCES) / file);
    static const std::regex row("\\{\"([A-Za-z0-9]+)\", \"[^\n]*\", 0\\},");
    for (std::sregex_iterator it(source.begin(), source.end(), row), end; it != end; ++it) {
      const std::string key = (*it)[1];
      if (key.rfind("Reserved", 0) != 0) keys.emplace_back(module, key);
    }
  }
  return keys;
}

TEST_F(Catalogues, EveryTextOfTheLibraryIsTranslated) {
  const auto keys = texts_of_the_library();
  ASSERT_GE(keys.size(), 11u + 7u + 10u + 4u + 15u);
  for (const char *language : {"de", "fi"}) {
    const std::string po = read_file(std::filesystem::path(Q7_TEST_SOURCES) / "platform/posix/po/q7common" /
                                     (std::string(language) + ".po"));
    for (const auto &[module, key] : keys) {
      const std::string entry = "msgctxt \"" + module + "\"\nmsgid \"" + key + "\"\nmsgstr \"";
      const size_t at = po.find(entry);
      ASSERT_NE(at, std::string::npos) << language << ": " << module << ", " << key;
      EXPECT_NE(po[at + entry.size()], '"') << language << ": " << module << ", " << key;
    }
  }
}

}  // namespace
