

#include "text/characters.h"
#include "tests/support/test_environment.h"
#include "text/case_and_spelling.h"
#include "text/shown_text.h"
#include "text/transcoding.h"
#include "text/user_locale.h"

namespace orvik::test {
namespace {

// Compares every character with the converters, which other tests compare with ICU.
TEST(Characters, UnitsOfEveryCharacterAreThoseOfTheConverters) {
  for (char32_t character = 0; character <= kLastCharacter; ++character) {
    std::u16string units;
    AppendCharacter(units, character);
    ASSERT_EQ(units.size(), Utf16Units(character));
    std::size_t behind = 0;
    ASSERT_EQ(NextCharacter(units, behind), character);
    ASSERT_EQ(behind, units.size());
    ASSERT_EQ(FindUnpairedSurrogate(units) == units.npos, IsCharacter(character));
    if (!IsCharacter(character)) continue;
    std::string bytes;
    AppendCharacter(bytes, character);
    ASSERT_EQ(bytes.size(), Utf8Bytes(character));
    ASSERT_EQ(CharacterLength(bytes), bytes.size());
    behind = 0;
    ASSERT_EQ(NextCharacter(bytes, behind), character);
  }
  std::size_t behind = 0;
  EXPECT_EQ(NextCharacter("\xE4\xB8", behind), U'\uFFFD');
  EXPECT_EQ(behind, 1u);
}

TEST(Characters, TextsAreCutBetweenCharacters) {
  constexpr std::u16string_view kText = u"a\U0001F600\xD800z\xDC00";
  static_assert(CharacterBefore(kText, 3) == 1 && CharacterBefore(kText, 4) == 3 &&
                CharacterBefore(kText, 6) == 5);
  static_assert(FindUnpairedSurrogate(kText) == 3);
  static_assert(WholeUnits(kText, 2) == 1 && WholeUnits(kText, 3) == 3 &&
                WholeUnits(kText, 9) == 6);
  static_assert(WholeUnits(std::string_view("\xC3\xA9"), 1) == 1);
}

// The characters at which a class begins and ends, alternately.
constexpr char32_t kXml[] = {9, 11, 13, 14, 0x20, 0xD800, 0xE000, 0xFFFE, 0x10000, 0x110000};
constexpr char32_t kSpace[] = {9,      14,     32,     33,     0x85,   0x86,   0xA0,
                               0xA1,   0x1680, 0x1681, 0x2000, 0x200B, 0x2028, 0x202A,
                               0x202F, 0x2030, 0x205F, 0x2060, 0x3000, 0x3001};
constexpr char32_t kControl[] = {0,      0x20,   0x7F,   0xA0,   0x61C,  0x61D,
                                 0x200E, 0x2010, 0x2028, 0x202F, 0x2066, 0x206A};

TEST(Characters, Classes) {
  const auto is_in = [](const auto& ends, char32_t character) {
    return (std::ranges::upper_bound(ends, character) - std::begin(ends)) % 2 == 1;
  };
  for (char32_t character = 0; character <= kLastCharacter + 1; ++character) {
    ASSERT_EQ(IsXmlCharacter(character), is_in(kXml, character)) << std::uint32_t{character};
    ASSERT_EQ(IsWhiteSpace(character), is_in(kSpace, character)) << std::uint32_t{character};
    if (!IsCharacter(character)) continue;
    std::string utf8;
    AppendCharacter(utf8, character);
    const std::optional<ControlCharacter> control = ControlAt(utf8, 0);
    ASSERT_EQ(control.has_value(), is_in(kControl, character)) << std::uint32_t{character};
    if (!control) continue;
    ASSERT_EQ(control->point, character);
    ASSERT_EQ(control->length, utf8.size());
    ASSERT_EQ(ControlAt("x" + utf8, 1)->point, character);
    const auto unit = static_cast<char16_t>(character);
    ASSERT_TRUE(NameForSentence({&unit, 1}, u"").starts_with(u"[U+"));
  }
  for (const char* cut : {"\xC2", "\xC2x", "\xE2\x80", "\xE2\x80x", "\x80", "\xC1\x80"}) {
    EXPECT_FALSE(ControlAt(cut, 0)) << cut;
  }
  EXPECT_EQ(Escaped("a\\\n\t\r\x1B\x7F\u0085\u061C\u202E\u00E9"),
            "a\\\\\\n\\t\\r\\x1b\\x7f\\x85\\u061c\\u202e\u00E9");
}

TEST(CaseMapping, FollowsTheLocale) {
  const std::tuple<const char*, const char16_t*, const char16_t*, const char16_t*> cases[] = {
      {"", u"iI", u"II", u"ii"},
      {"tr_TR", u"iI", u"\x130I", u"i\x131"},
      {"de_DE", u"stra\u00DFe", u"STRASSE", u"stra\u00DFe"},
      {"el", u"\x39F\x394\x39F\x3A3", u"\x39F\x394\x39F\x3A3", u"\x3BF\x3B4\x3BF\x3C2"},
      {"lt", u"I\x300", u"I\x300", u"i\x307\x300"},
      {"lt", u"iJ", u"IJ", u"ij"},
      {"", u"\xD83D\xD801\xDC00", u"\xD83D\xD801\xDC00", u"\xD83D\xD801\xDC28"},
      {"", u"\xFB03\xFB03\xFB03\xFB03\xFB03\xFB03\xFB03", u"FFIFFIFFIFFIFFIFFIFFI",
       u"\xFB03\xFB03\xFB03\xFB03\xFB03\xFB03\xFB03"}};
  for (const auto& [locale, text, upper, lower] : cases) {
    EXPECT_EQ(ToUpper(text, locale), upper) << locale;
    EXPECT_EQ(ToLower(text, locale), lower) << locale;
  }
  for (char16_t unit = 0; unit < 0x80; ++unit) {
    EXPECT_EQ(ToUpper({&unit, 1}, "")[0], toupper(unit));
    EXPECT_EQ(ToLower({&unit, 1}, "")[0], tolower(unit));
  }
}

TEST(CaseMapping, ComparesFoldedInAnyLengths) {
  const std::tuple<const char16_t*, const char16_t*, int> cases[] = {
      {u"", u"", 0},        {u"ABC", u"abcd", -1},    {u"ss", u"\x1E9E", 0},
      {u"k", u"\x212A", 0}, {u"\x130", u"i\x307", 0}, {u"A", u"a\xE9", -1},
      {u"aB", u"Aaz", 1},   {u"\xE9", u"\xEA", -1},   {u"a\x80", u"A\x7F", 1}};
  for (const auto& [a, b, order] : cases) {
    EXPECT_EQ(CompareFolded(a, b), order);
    EXPECT_EQ(CompareFolded(b, a), -order);
  }
}

TEST(CaseMapping, FoldsByTheLanguage) {
  for (const char* locale : {"tr", "tr_TR", "az-Latn", "tur@x", "aze"}) {
    EXPECT_EQ(FoldCase(u"I\x130i", locale), u"\x131ii") << locale;
  }
  for (const char* locale : {"", "de_DE", "trv"}) {
    EXPECT_EQ(FoldCase(u"I\x130\x131", locale), u"ii\x307\x131") << locale;
  }
}

using UserLocale = EnvironmentTest;

TEST_F(UserLocale, IsTheFirstThatIsSet) {
  const std::tuple<const char*, const char*, std::string> steps[] = {
      {"LC_ALL", "", ""},      {"LANG", "de_DE.UTF-8", "de_DE"}, {"LC_CTYPE", "tr_TR", "tr_TR"},
      {"LC_ALL", "", "tr_TR"}, {"LC_ALL", "POSIX", ""},          {"LC_ALL", "C.UTF-8", ""}};
  for (const auto& [name, value, current] : steps) {
    setenv(name, value, 1);
    EXPECT_EQ(CurrentLocaleIdentifier(LocaleCategory::kCharacters), current) << name << value;
  }
  // The variable is found at every place in the environment, whatever else is there.
  char other[] = "LANGUAGE=x", empty[] = "LC_ALL=", languages[2][8] = {"LANG=de", "LANG=fr"};
  char** const old = environ;
  for (std::size_t place = 0; place < 6; ++place) {
    for (int round = 0; round < 4; ++round) {
      std::vector<char*> entries = {other, empty, other, empty, other, nullptr};
      entries.insert(entries.begin() + static_cast<long>(place), languages[round % 2]);
      if (round == 2) entries.erase(entries.end() - 2);
      environ = entries.data();
      const std::string found = CurrentLocaleIdentifier(LocaleCategory::kTime);
      environ = old;
      EXPECT_EQ(found, round == 2 && place == 5 ? "" : languages[round % 2] + 5) << place;
    }
  }
}

using Spellings = std::set<std::u16string>;

TEST(Spelling, VisitsEveryOtherSpellingUpToALimit) {
  const auto others = [](std::u16string_view text, bool is_all = true) {
    Spellings found;
    EXPECT_EQ(VisitOtherSpellings(text, 8, [&](auto other) { found.emplace(other); }), is_all);
    EXPECT_EQ(HasOneSpelling(text), found.empty());
    const auto count = static_cast<int>(found.size());
    EXPECT_EQ(VisitOtherSpellings(text, count, [](auto) {}), is_all);
    EXPECT_TRUE(found.empty() || !VisitOtherSpellings(text, count - 1, [](auto) {}));
    return found;
  };
  for (const char16_t* text : {u"", u"plain.txt", u"\u6587\u4EF6", u"\u0444\u043E\u0442\u043E",
                               u"\U0001F600", u"\xDC5C\xD800", u"stra\u00DFe"}) {
    EXPECT_EQ(others(text), Spellings());
  }
  // The accent itself has two spellings.
  EXPECT_EQ(others(u"\u00E9"), (Spellings{u"e\u0301", u"e\u0341"}));
  EXPECT_EQ(others(u"e\u0308x"), (Spellings{u"\u00EBx"}));
  EXPECT_EQ(others(u"\u8C48"), (Spellings{u"\uF900"}));  // a compatibility form
  // Marks in another order, and a mark that decomposes into two with a third mark between them.
  EXPECT_EQ(others(u"\u0F81\u0338"),
            (Spellings{u"\u0F71\u0F80\u0338", u"\u0F71\u0338\u0F80", u"\u0F80\u0F71\u0338",
                       u"\u0F80\u0338\u0F71", u"\u0338\u0F71\u0F80", u"\u0338\u0F80\u0F71",
                       u"\u0338\u0F81"}));
  EXPECT_EQ(others(u"\uAC01"), (Spellings{u"\uAC00\u11A8", u"\u1100\u1161\u11A8"}));
  EXPECT_TRUE(others(u"\u1EAD").contains(u"a\u0323\u0302"));
  others(u"\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9", false);
}

TEST(Normalization, ComposesAllButLigaturesAndUnpairedSurrogates) {
  EXPECT_EQ(Composed(u"ascii\xFB01\xD83D"
                     u"e\x301"),
            u"ascii\xFB01\xD83D\xE9");
}

TEST(Direction, ANameCannotTurnItsSentenceRound) {
  const struct {
    std::u16string name, sentence, shown;
  } cases[] = {{u"/a/photo.png", u"Delete \"%s\"?", u"/a/photo.png"},
               {u"\u00E9\u4E2D\U0001F600", u"", u"\u00E9\u4E2D\U0001F600"},
               {u"photo\u202Egnp.exe\n", u"", u"photo[U+202E]gnp.exe[U+000A]"},
               {u"\u05D0.txt", u"Delete?", u"\u2068\u05D0.txt\u2069"},
               {u"a.txt", u"\u0645\u062D\u0648", u"\u2068a.txt\u2069"},
               {u"\U0001E900", u"", u"\u2068\U0001E900\u2069"},
               {u"\xD800x", u"", u"\xD800x"}};
  for (const auto& [name, sentence, shown] : cases) {
    EXPECT_EQ(NameForSentence(name, sentence), shown);
  }
}

TEST(Columns, FollowWhatTerminalsShow) {
  const std::pair<std::u16string, int> cases[] = {
      {u"", 0},       {u"\uAC00", 2},        {u"abc", 3},    {u"\U0001F600", 2},
      {u"\uFF21", 2}, {u"\u4E2D\u6587", 4},  {u"\xD800", 1}, {u"\u05D0\u05B0", 1},
      {u"\u00AD", 1}, {u"\u00E9e\u0301", 2}, {u"\t\x1B", 0}, {u"a\u200Bb\u200D\u2068", 2}};
  for (const auto& [text, columns] : cases) EXPECT_EQ(ColumnsOf(text), columns);
}

}  // namespace
}  // namespace orvik::test
