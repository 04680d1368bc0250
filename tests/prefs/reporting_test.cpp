#include "prefs/reporting.h"

#include "prefs/preferences.h"
#include "prefs/transaction.h"
#include "tests/prefs/store_fixture.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using ReportingTest = StoreTest;

TEST_F(ReportingTest, TellsWhatIsThereAndWhyNot) {
  EXPECT_EQ(ReadDomain(0, kDomain).status.error, PrefError::kNotFound);
  EXPECT_EQ(ReadDomain(1, u"/x").status.error, PrefError::kRefusedDomain);
  EXPECT_EQ(ReadDomain(-2, kDomain).status.error, PrefError::kUnknownScope);
  for (const int scope : {0, 1, 4}) {
    SCOPED_TRACE(scope);
    const fs::path file = FileOf(scope);
    WritePlist(file, R"({"K":{"S":{"x":[true]},"b":"1","a":"2"},"top":"t"})");
    const auto value = ReadPreference(scope, u"K", u"b", kDomain);
    ASSERT_TRUE(value.ok());
    EXPECT_EQ(value.value, plist::Value(u"1"));
    EXPECT_TRUE(ReadPreference(scope, u"", u"top", kDomain).ok());
    EXPECT_TRUE(ReadPreference(scope, u"K/S", u"x", kDomain).ok());
    EXPECT_EQ(ReadPreference(scope, u"K", u"no", kDomain).status.error, PrefError::kNotFound);
    EXPECT_EQ(ReadPreference(scope, u"K/b", u"x", kDomain).status.error, PrefError::kNotAKey);
    EXPECT_EQ(ReadPreferenceKey(scope, u"no/x", kDomain).status.error, PrefError::kNotFound);
    CAtlArray<CAtlString> names;
    EXPECT_TRUE(ListPreferenceNames(scope, u"", kDomain, names).ok());
    EXPECT_TRUE(ListPreferenceNames(scope, u"K", kDomain, names).ok());
    std::string joined;
    for (const CAtlString& name : names) joined += Utf8(name) + " ";
    EXPECT_EQ(joined, "K top S a b ");
    WriteFile(file, "<plist>");
    EXPECT_EQ(ReadDomain(scope, kDomain).status.error, PrefError::kDamaged);
    WriteFile(file, "<plist><string>x</string></plist>");
    EXPECT_EQ(ReadDomain(scope, kDomain).status.error, PrefError::kRootNotDictionary);
    fs::remove(file);
    fs::create_directories(file);
    EXPECT_EQ(ReadDomain(scope, kDomain).status.error, PrefError::kUnreadable);
  }
}

TEST_F(ReportingTest, WhatCannotBeReadIsNotRepaired) {
  for (const int scope : {0, 1}) {
    const fs::path file = FileOf(scope);
    fs::create_directories(file);
    EXPECT_EQ(RepairDomain(scope, kDomain).status.error, PrefError::kUnreadable);
    EXPECT_TRUE(fs::is_directory(file));
    fs::remove(file);
    WriteFile(file, "");
    fs::resize_file(file, std::uintmax_t{1} << 40);
    EXPECT_EQ(RepairDomain(scope, kDomain).status.error, PrefError::kTooLarge);
    EXPECT_EQ(fs::file_size(file), std::uintmax_t{1} << 40);
    fs::resize_file(file, 0);
    fs::permissions(file, fs::perms::none);
    const WithoutRootRights without(env_.folder());
    EXPECT_EQ(RepairDomain(scope, kDomain).status.error, PrefError::kUnreadable);
    EXPECT_TRUE(fs::exists(file));
  }
}

std::string InUtf16(std::string_view utf8) {
  std::string bytes = "\xFF\xFE";
  const CAtlString units = Wide(std::string(utf8));
  for (const char16_t unit : units.View()) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

// { A = "1", B = an object of no kind, C = true }
const std::string kBinaryWithBadObject(
    "bplist00\xD3\1\2\3\4\5\6\x51\x41\x51\x42\x51\x43\x51\x31\x70\x09"
    "\x08\x0F\x11\x13\x15\x17\x18\0\0\0\0\0\0\1\1"
    "\0\0\0\0\0\0\0\7\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x19",
    64);

TEST_F(ReportingTest, RepairSavesWhatIsCompleteAndKeepsTheRest) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist>\n<plist>";
  const std::string a = head + "<dict><key>A</key>", end = "</dict></plist>";
  const std::string b = "<key>B</key><true/>" + end;
  const std::tuple<const char*, std::string, const char*> kCases[] = {
      {"breaks off in a value", a + "<dict><key>n</key><string>v</string><key>m</key><integer>4",
       R"({"A":{"n":"v"}})"},
      {"breaks off in a name", a + "<dict><key>n</key><true/></dict><key>B", R"({"A":{"n":true}})"},
      {"breaks off in a tag", a + "<array><integer>1</integer><dic", R"({"A":[1]})"},
      {"wrong end tag", a + "<string>1</string></array>" + end, R"({"A":"1"})"},
      {"a bad value", a + "<integer>x</integer>" + b, R"({"B":true})"},
      {"a value whose end is another's", a + "<string>1</integer>" + b, R"({"B":true})"},
      {"a key without a value", a + b, R"({"B":true})"},
      {"an array that does not end", a + "<array><true/></arry>" + b, R"({"A":[true],"B":true})"},
      {"an end tag too many", a + "<true/></dict>" + b, R"({"A":true,"B":true})"},
      {"a dictionary whose name is damaged", a + "<dikt><key>n</key><true/></dict>" + b,
       R"({"A":{"n":true},"B":true})"},
      {"a value whose name is damaged", a + "<strin>a</strin>" + b, R"({"B":true})"},
      {"garbage between the values", a + "<true/>\x01\xFF<&" + b, R"({"A":true,"B":true})"},
      {"zeroes at the end", a + "<string>1</string>" + std::string(50, '\0'), R"({"A":"1"})"},
      {"tags in comments", a + "<!-- <dict> --><string>1</string>", R"({"A":"1"})"},
      {"UTF-16", InUtf16(a + "<string>\u00E9</string><key>B</key><integer>x"),
       "{\"A\":\"\u00E9\"}"},
      {"UTF-16 with half a character",
       InUtf16(a + "<string>").append("\0\xDC", 2) + InUtf16("</string>" + b).substr(2),
       R"({"B":true})"},
      {"binary, an object of no kind", kBinaryWithBadObject, R"({"A":"1","C":true})"},
      {"old text", "{ A = { n = v; bad = <xy>; m = \"w\"; }; B = (1, \"\xFF\", 2); C = 3; }",
       R"({"A":{"m":"w","n":"v"},"B":["1","2"],"C":"3"})"},
      {"old text without ends", "{ A = (1, 2; B = { n = v; }; C = \"x; }",
       R"({"A":["1","2"],"B":{"n":"v"}})"},
      {"old text without separators", "{ A = 1 B = (1 2); } C = 3;", R"({"B":["2"]})"},
      {"old text, a letter for a quote", "{ A = x1\"; B = {c = x2\";}; C = 3; \"D\"x; }",
       R"({"B":{},"C":"3"})"},
      {"old text, file of strings", "A = 1;\n B = \"\xFF\"; = 2; C = 3;", R"({"A":"1","C":"3"})"},
  };
  std::vector<fs::path> files;
  for (const int scope : {0, 1}) {
    for (const auto& [title, bytes, repaired] : kCases) {
      SCOPED_TRACE(title);
      const std::string domain = "com.example.repair" + std::to_string(files.size());
      const fs::path file = PreferenceFilePath(scope, Wide(domain));
      files.push_back(file);
      WriteFile(file, bytes);
      const PrefRepair repair = RepairDomain(scope, Wide(domain));
      EXPECT_TRUE(repair.status.ok()) << Describe(repair.status);
      EXPECT_FALSE(repair.was_sound);
      EXPECT_EQ(repair.kept_copy, file.string() + ".damaged");
      EXPECT_EQ(ReadFile(repair.kept_copy), bytes);
      const PrefRepair again = RepairDomain(scope, Wide(domain));
      EXPECT_TRUE(again.was_sound && again.status.ok());
    }
  }
  const std::vector<std::string> found = OnDisk(files);
  for (std::size_t i = 0; i < found.size(); ++i) {
    const auto& [title, bytes, repaired] = kCases[i % std::size(kCases)];
    EXPECT_EQ(found[i], repaired) << title;
  }
  EXPECT_EQ(RepairDomain(4, u"com.example.none").status.error, PrefError::kNotFound);
}

// A tag of which one byte is wrong: nothing moves to another place, and only what is doubtful is
// lost.
TEST_F(ReportingTest, RepairFindsThePlaceOfWhatIsWhole) {
  const std::string list =
      "<plist version=\"1.0\">\n<dict>\n\t<key>A</key>\n\t<dict>\n\t\t<key>l</key>\n\t\t<array>\n"
      "\t\t\t<string>x</string>\n\t\t</array>\n\t\t<key>n</key>\n\t\t<string>v</string>\n\t</"
      "dict>\n"
      "\t<key>B</key>\n\t<true/>\n\t<key>C</key>\n\t<dict/>\n\t<key>D</key>\n\t<true/>\n</dict>\n"
      "</plist>\n";
  const char* const whole = R"({"A":{"l":["x"],"n":"v"},"B":true,"C":{},"D":true})";
  const struct {
    const char *tag, *damaged, *repaired;
  } kCases[] = {
      {"x</string>", "x</stXing>", R"({"A":{"l":[],"n":"v"},"B":true,"C":{},"D":true})"},
      {"v</string>", "vX/string>", R"({"A":{"l":["x"]},"B":true,"C":{},"D":true})"},
      {"\t</dict>", "\t</dXct>", whole},
      {"\t</dict>", "\tX/dict>", whole},
      {"\t</dict>", "\t<Xdict>", whole},
      {"\t</dict>", "\t</dictX", whole},
      {"<array>", "<arXay>", whole},
      {"<array>", "Xarray>", whole},
      {"</array>", "</arrayX", whole},
      {"<dict/>", "<dictX>", whole},
      {"\n<dict>", "\n<diXt>", whole},
      {"\n<dict>", "\nXdict>", whole},
      {"<key>l</key>", "<key>l</kXy>", R"({"A":{"n":"v"},"B":true,"C":{},"D":true})"},
  };
  std::vector<fs::path> files;
  for (const auto& c : kCases) {
    for (const bool is_indented : {true, false}) {
      SCOPED_TRACE(c.damaged);
      std::string bytes = list;
      bytes.replace(bytes.find(c.tag), std::string(c.tag).size(), c.damaged);
      if (!is_indented) std::erase(bytes, '\t');
      const std::string domain = "com.example.tags" + std::to_string(files.size());
      files.push_back(PreferenceFilePath(1, Wide(domain)));
      WriteFile(files.back(), bytes);
      const PrefRepair repair = RepairDomain(1, Wide(domain));
      EXPECT_TRUE(repair.status.ok()) << Describe(repair.status);
      EXPECT_GE(repair.lost, 1u);
    }
  }
  const std::vector<std::string> found = OnDisk(files);
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i], kCases[i / 2].repaired) << kCases[i / 2].damaged << " " << i % 2;
  }
}

// The time is bounded by CTest alone; what is looked for is growth with the square.
TEST_F(ReportingTest, RepairCostsInLine) {
  const std::string head = "<plist><dict><key>a</key><string>v</string>";
  constexpr int kCount = 40'000;
  for (const std::string& bytes :
       {head + Repeated("<!--", kCount), head + Repeated("<?", kCount),
        head + "<key>b</key>" + Repeated("<array>", kCount) + Repeated("</dict>", kCount),
        head + Repeated("<string><![CDATA[", kCount), head + Repeated("<k a=\"", kCount),
        "{ a = v; " + Repeated(";\"\\", kCount), "{ a = v; " + Repeated("{=", kCount),
        head + "<key>" + std::string(100'000, 'k') + "</key><dict>" +
            Repeated("<key>n</key><integer>x</integer>", 2000)}) {
    WriteFile(FileOf(1), bytes);
    const PrefRepair repair = RepairDomain(1, kDomain, {}, PrefRepairMode::kRehearse);
    EXPECT_GE(repair.lost, 1u);
    std::size_t path_units = 0;
    for (const PrefLoss& loss : repair.losses) {
      path_units += loss.path.size();
    }
    EXPECT_LE(path_units, 2 * bytes.size());
  }
}

// One string says that it is longer: it is lost, and what lies behind it is not.
TEST_F(ReportingTest, RepairReadsABinaryListBehindABadLength) {
  WritePlist(FileOf(1), R"({"A":"first","B":["x","y"],"C":"third","D":4})", "binary");
  std::string bytes = ReadFile(FileOf(1));
  bytes[bytes.find(
      "\x55"
      "first")] = '\x5E';
  WriteFile(FileOf(1), bytes);
  const PrefRepair repair = RepairDomain(1, kDomain);
  EXPECT_EQ(OnDisk(FileOf(1)), R"({"B":["x","y"],"C":"third","D":4})");
  ASSERT_EQ(repair.losses.size(), 1u);
  EXPECT_EQ(repair.losses[0].path, "A");
  EXPECT_EQ(repair.losses[0].bytes, 6u);
}

TEST_F(ReportingTest, RepairLeavesAloneWhatGivesNothing) {
  const fs::path file = FileOf(1);
  WritePlist(file, R"({"K":{"n":"v"}})", "binary");
  const std::string binary = ReadFile(file);
  WritePlist(file, R"(["v"])", "binary");
  const std::string binary_array = ReadFile(file);
  const std::string head = "<?xml version=\"1.0\"?>\n<!DOCTYPE plist>\n<plist version=\"1.0\">\n";
  std::string utf32 = std::string("\xFF\xFE\0\0", 4);
  for (const char c : head) utf32 += c + std::string(3, '\0');
  std::vector<std::pair<std::string, PrefError>> cases = {
      {"", PrefError::kNothingSaved},
      {"no list", PrefError::kNothingSaved},
      {"<plist><dict>\n<key>n</key>", PrefError::kNothingSaved},
      {utf32.substr(0, utf32.size() - 1), PrefError::kNothingSaved},
      {"<plist><array><string>a</string></array></plist>", PrefError::kRootNotDictionary},
      {binary_array, PrefError::kRootNotDictionary},
      {"( a, b )", PrefError::kRootNotDictionary}};
  for (std::size_t length = 6; length < binary.size(); ++length) {
    cases.emplace_back(binary.substr(0, length), PrefError::kNothingSaved);
  }
  for (std::size_t length = 1; length <= head.size(); ++length) {
    cases.emplace_back(head.substr(0, length), PrefError::kNothingSaved);
  }
  for (const auto& [bytes, error] : cases) {
    SCOPED_TRACE(bytes);
    WriteFile(file, bytes);
    for (const PrefRepairMode mode : {PrefRepairMode::kRehearse, PrefRepairMode::kSave}) {
      const PrefRepair repair = RepairDomain(1, kDomain, {}, mode);
      EXPECT_EQ(repair.status.error, error);
      EXPECT_EQ(repair.entries, 0);
      EXPECT_EQ(repair.lost != 0, !bytes.empty());
      EXPECT_EQ(repair.lost, repair.losses.size());
      EXPECT_EQ(ReadFile(file), bytes);
      EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
    }
  }
  const PrefRepair repair = RepairDomain(1, kDomain, {}, PrefRepairMode::kReplace);
  EXPECT_TRUE(repair.status.ok());
  EXPECT_EQ(ReadFile(repair.kept_copy), cases.back().first);
  EXPECT_EQ(OnDisk(file), "{}");
}

// A small file whose shared objects are larger than any file may be.
TEST_F(ReportingTest, WhatIsTooLargeToBeWrittenIsNotTaken) {
  const std::string string = std::string("\x5F\x12\0\0\xFE\0", 6) + std::string(0xFE00, 'x');
  const std::string array = std::string("\xAF\x10\x61", 3) + std::string(0x61, '\3');
  std::string bytes = "bplist00\xD1\1\2\x51K";
  bytes += std::string("\xAF\x10\x61", 3) + std::string(0x61, '\3') + array;
  bytes.replace(bytes.size() - 0x61, 0x61, std::string(0x61, '\4'));
  const std::size_t first = 13, second = first + array.size(), third = second + array.size();
  bytes += string;
  const auto number = [](std::size_t value) {
    return std::string({'\0', static_cast<char>(value >> 16), static_cast<char>(value >> 8),
                        static_cast<char>(value)});
  };
  const std::size_t table = bytes.size();
  for (const std::size_t offset : {std::size_t{8}, std::size_t{11}, first, second, third}) {
    bytes += number(offset);
  }
  bytes += std::string("\0\0\0\0\0\0\4\1\0\0\0\0\0\0\0\5", 16) + std::string(12, '\0');
  bytes += number(table);
  for (const int scope : {0, 1, 4}) {
    SCOPED_TRACE(scope);
    const fs::path file = FileOf(scope);
    WriteFile(file, bytes);
    EXPECT_EQ(CheckDomain(scope, kDomain).status.error, PrefError::kTooLarge);
    EXPECT_EQ(RepairDomain(scope, kDomain).status.error, PrefError::kTooLarge);
    Transaction change(scope, kDomain);
    change.Set(u"K2", u"n", u"v");
    EXPECT_EQ(change.Commit().error, PrefError::kTooLarge);
    WritePreferenceString(scope, u"K2", u"n", u"v", kDomain);
    EXPECT_EQ(ReadFile(file), bytes);
    EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
  }
}

TEST_F(ReportingTest, RepairNamesWhatIsLostAndCanBeTried) {
  const struct {
    std::string broken;
    const char* losses;
    const char* repaired;
    int entries;
  } kCases[] = {
      {"<plist><dict>\n<key>K</key>\n<dict>\n\t<key>a</key><integer>x</integer>\n"
       "\t<key>l</key><array><true/><real>?</real></array>\n\t<key>\u00E9</key>\n</dict>"
       "<key>z</key><true/>\n",
       "K/a: a value that cannot be read, 4:14\n"
       "K/l/1: a value that cannot be read, 5:28\n"
       "K/\u00E9: a key without a value, 6:2\n"
       ": the list breaks off, 8:1\n",
       R"({"K":{"l":[true]},"z":true})", 2},
      {"<plist><array><true/><real>?</real></array><dict><key>a</key><true/></dict>\n",
       ": a list that is no dictionary, 1:8\n", "{}", 0},
      {kBinaryWithBadObject, "B: a value that cannot be read, 0:23\n", R"({"A":"1","C":true})", 2},
      {"{\n K = { a = 1;\n b = <x>; };\n l = (\u00E9, x, \"\xFF\");\n",
       "K/b: text that cannot be read, 3:8\n"
       "l/0: text that cannot be read, 4:7\n"
       "l/2: text that cannot be read, 4:16\n"
       ": the list breaks off, 5:1\n",
       R"({"K":{"a":"1"},"l":["x"]})", 2},
  };
  for (const auto& c : kCases) {
    const fs::path file = FileOf(1);
    WriteFile(file, c.broken);
    const PrefRepair tried = RepairDomain(1, kDomain, {}, PrefRepairMode::kRehearse);
    EXPECT_EQ(tried.status.error, c.entries == 0 ? PrefError::kNothingSaved : PrefError::kNone);
    EXPECT_EQ(ReadFile(file), c.broken);
    EXPECT_EQ(tried.kept_copy, "");
    const PrefRepair repair = RepairDomain(1, kDomain, {}, PrefRepairMode::kReplace);
    for (const PrefRepair* each : {&tried, &repair}) {
      EXPECT_EQ(each->entries, c.entries);
      EXPECT_EQ(each->lost, each->losses.size());
      std::string losses;
      for (const auto& loss : each->losses) {
        losses += loss.path + ": " + loss.what + ", " + std::to_string(loss.line) + ":" +
                  std::to_string(loss.column) + "\n";
      }
      EXPECT_EQ(losses, c.losses);
    }
    EXPECT_EQ(OnDisk(file), c.repaired);
  }
}

TEST_F(ReportingTest, CheckNamesThePlaceOfTheDamage) {
  WriteFile(FileOf(1), "<plist><dict>\n<key>a</key> <integer>x</integer></dict></plist>");
  const PrefCheck check = CheckDomain(1, kDomain);
  EXPECT_EQ(check.status.error, PrefError::kDamaged);
  EXPECT_GE(check.damage.Find(u"in line 2, column 14"), 0) << Utf8(check.damage);
  EXPECT_TRUE(CheckDomain(0, kDomain).damage.IsEmpty());
}

}  // namespace
}  // namespace orvik::test
