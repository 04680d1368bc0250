// The entries that are saved from a damaged list, their places, and the reported losses.
#include "plist/salvage.h"

#include "tests/plist/described_lists.h"
#include "text/shown_text.h"

namespace orvik::plist {
namespace {

using namespace test;

Salvage Saved(const std::string& bytes) {
  EXPECT_FALSE(Root(bytes).is_dictionary()) << bytes;
  return SalvageEntries(std::make_shared<const std::string>(bytes));
}

// "path: what, line:column (bytes)" of each loss.
std::string LossesOf(const Salvage& salvage) {
  std::string losses;
  for (const Loss& loss : salvage.losses.list()) {
    losses += loss.path + ": " + loss.what + ", " + std::to_string(loss.line) + ":" +
              std::to_string(loss.column) + " (" + std::to_string(loss.bytes) + ")\n";
  }
  return losses;
}

std::string InUtf16(std::string_view ascii) {
  std::string bytes = "\xFF\xFE";
  for (const char byte : ascii) bytes += {byte, '\0'};
  return bytes;
}

// { A = "1", B = an object of an unknown kind, C = true }
const std::string kBinaryWithBadObject(
    "bplist00\xD3\1\2\3\4\5\6\x51\x41\x51\x42\x51\x43\x51\x31\x70\x09"
    "\x08\x0F\x11\x13\x15\x17\x18\0\0\0\0\0\0\1\1"
    "\0\0\0\0\0\0\0\7\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x19",
    64);

TEST(PlistSalvage, TakesWhatIsCompleteOfEveryForm) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist>\n<plist>";
  const std::string a = head + "<dict><key>A</key>", end = "</dict></plist>";
  const std::string b = "<key>B</key><true/>" + end;
  const std::tuple<const char*, std::string, const char*> kCases[] = {
      {"breaks off in a value", a + "<dict><key>n</key><string>v</string><key>m</key><integer>4",
       "{A={n=s:v}}"},
      {"breaks off in a tag", a + "<array><integer>1</integer><dic", "{A=(i:1)}"},
      {"wrong end tag", a + "<string>1</string></array>" + end, "{A=s:1}"},
      {"a bad value", a + "<integer>x</integer>" + b, "{B=b:1}"},
      {"a value whose end is another's", a + "<string>1</integer>" + b, "{B=b:1}"},
      {"an end tag too many", a + "<true/></dict>" + b, "{A=b:1 B=b:1}"},
      {"a value whose name is damaged", a + "<strin>a</strin>" + b, "{B=b:1}"},
      {"an unknown element", a + "<dict><key>n</key><a>1</a><key>m</key><true/></dict>" + b,
       "{A={m=b:1} B=b:1}"},
      {"garbage between the values", a + "<true/>\x01\xFF<&" + b, "{A=b:1 B=b:1}"},
      {"zeroes at the end", a + "<string>1</string>" + std::string(50, '\0'), "{A=s:1}"},
      {"tags in comments", a + "<!-- <dict> --><string>1</string>", "{A=s:1}"},
      {"UTF-16, half a character",
       InUtf16(a + "<string>").append("\0\xDC", 2) + InUtf16("</string>" + b).substr(2), "{B=b:1}"},
      {"an unknown encoding",
       "<?xml version='1.0' encoding='x-9'?><plist><dict><key>\u00e9</key><true/>" + b,
       "{B=b:1 \u00e9=b:1}"},
      {"binary, an object of no kind", kBinaryWithBadObject, "{A=s:1 C=b:1}"},
      {"old text", "{ A = { n = v; bad = <xy>; m = \"w\"; }; B = (1, \"\xFF\", 2); C = 3; }",
       "{A={m=s:w n=s:v} B=(s:1 s:2) C=s:3}"},
      {"old text without ends", "{ A = (1, 2; B = { n = v; }; C = \"x; }",
       "{A=(s:1 s:2) B={n=s:v}}"},
      {"old text without separators", "{ A = 1 B = (1 2); } C = 3;", "{B=(s:2)}"},
      {"old text, a letter for a quote", "{ A = x1\"; B = {c = x2\";}; C = 3; \"D\"x; }",
       "{B={} C=s:3}"},
      {"old text, brackets in what is lost", "{ A = \xFF{ x = 1; y = 2; }; B = 3; }", "{B=s:3}"},
      {"old text, file of strings", "A = 1;\n B = \"\xFF\"; = 2; C = 3;", "{A=s:1 C=s:3}"},
  };
  for (const auto& [title, bytes, entries] : kCases) {
    const Salvage salvage = Saved(bytes);
    EXPECT_EQ(Describe(salvage.entries), entries) << title;
    EXPECT_GE(salvage.losses.count(), 1u) << title;
  }
}

// Lists the leaves and empty containers by their paths.
void AddLeaves(const Value& value, const std::string& path,
               std::map<std::string, std::string>& leaves) {
  int index = 0;
  if (value.is_array() && value.count() > 0) {
    for (const Value& each : value.elements())
      AddLeaves(each, path + "/" + std::to_string(index++), leaves);
  } else if (value.is_dictionary() && value.count() > 0) {
    for (const auto& [key, each] : value.entries())
      AddLeaves(each, path + "/" + key.text().ToUtf8(), leaves);
  } else {
    leaves[path] = Describe(value);
  }
}

// Files with one wrong, missing or added byte, and truncated files. A file that is still a valid
// list comes back whole. The numbers count the leaves saved from all others, right and wrong.
TEST(PlistSalvage, SavesWhatOneWrongByteLeaves) {
  const std::string xml = *WriteXml(
      Root("{A = {l = (x, (y, {p = q;}), {}); n = v;}; B = {}; C = (1, <00>); E = last;}"));
  const std::string body = xml.substr(xml.find("<plist"));
  std::string flat = "<?xml version='1.0'?><!DOCTYPE plist [<!ENTITY a 'b'>]><!-- c -->" + body;
  std::erase_if(flat, [](char c) { return c == '\t' || c == '\n'; });
  flat.insert(flat.find("<string>v"), "<!-- <dict> --><?pi <x> ?>");
  flat.replace(flat.find("q</string>"), 1, "<![CDATA[<q]]>&amp;");
  flat.replace(flat.find("<string>last</string>"), 21,
               "<date exact='3fd0000000000000'>2001-01-01T00:00:00Z</date>");
  const std::tuple<const char*, std::string, int, int> kCases[] = {
      {"XML with tabs", body, 15600, 776},
      {"XML in one line", flat, 14395, 1107},
      {"old text",
       "{A = {l = (x, (y, {p = q;}), {}); n = \"v w\"; /* c */ data = <00 11>;}; // d\nB = {}; C = "
       "('1', \"\\U0031\"); E;}",
       3231, 239},
      {"strings", "A = {n = v;};\n\"B\" = (1, 2, \"\\\"3\");\nC = \"x\\n\"; 'D e' = <0a>; F;\n",
       1259, 87},
      {"binary",
       *WriteBinary(Root("{A = {l = (x, (y, {p = q;}), {}); n = \"more than 15 units\"; d = "
                         "<0011>;}; B = (x, \"\\U4e16\", q); C = {};}")),
       1512, 577}};
  for (const auto& [title, bytes, as_they_were, not_so] : kCases) {
    std::map<std::string, std::string> whole;
    AddLeaves(Root(bytes), "", whole);
    int right = 0, wrong = 0;
    const auto count = [&](const std::string& damaged) {
      const Value root = Root(damaged);
      const Salvage salvage = SalvageEntries(std::make_shared<const std::string>(damaged));
      const std::size_t losses = salvage.losses.count();
      if (root.is_dictionary()) {
        EXPECT_TRUE(salvage.entries == root && losses == 0) << damaged;
        return;
      }
      std::map<std::string, std::string> leaves;
      AddLeaves(salvage.entries, "", leaves);
      for (const auto& leaf : leaves) {
        const auto found = whole.find(leaf.first);
        ++(found != whole.end() && found->second == leaf.second ? right : wrong);
      }
      EXPECT_TRUE(losses > 0 || leaves == whole || damaged.empty()) << damaged;
      for (const Loss& loss : salvage.losses.list()) {
        if (loss.line == 0) continue;
        const TextPlace place = PlaceInText(damaged, loss.place);
        EXPECT_EQ(std::pair(loss.line, loss.column), std::pair(place.line, place.column))
            << damaged;
      }
    };
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      for (const char byte : {'X', '<', "> /\";)\1\xC3-"[place % 9]}) {
        std::string damaged = bytes;
        damaged[place] = byte;
        if (damaged != bytes) count(damaged);
      }
      count(std::string(bytes).erase(place, 1));
      count(std::string(bytes).insert(place, 1, bytes[place]));
      count(bytes.substr(0, place));
    }
    EXPECT_EQ(std::pair(right, wrong), std::pair(as_they_were, not_so)) << title;
  }
}

TEST(PlistSalvage, NamesEveryLoss) {
  const std::pair<std::string, const char*> kCases[] = {
      {"<plist><dict>\n<key>K</key>\n<dict>\n\t<key>a</key><integer>x</integer>\n"
       "\t<key>l</key><array><true/><real>?</real></array>\n\t<key>\u00E9</key>\n</dict>\n",
       "K/a: a value that cannot be read, 4:14 (20)\n"
       "K/l/1: a value that cannot be read, 5:28 (14)\n"
       "K/\u00E9: a key without a value, 6:2 (0)\n"
       ": the list breaks off, 8:1 (0)\n"},
      {"<dict>\n\t<key>A</key>\n\t<true/>\n\t<key>B</key>\n\t?\n\t\t<key>x</key>\n\t\t<true/>\n"
       "\t</dict>\n\t<key>C</key>\n\t<true/>\n</dict>",
       "B: a key without a value, 4:2 (0)\n"
       "B: text between the values, 4:14 (6)\n"
       ": values of a container whose beginning is lost, 7:3 (18)\n"},
      {"<plist><array><true/></array><dict/>\n", ": a list that is not a dictionary, 1:8 (30)\n"},
      {kBinaryWithBadObject, "B: a value that cannot be read, 0:23 (1)\n"},
      {"{\n K = { a = 1;\n b = <x>; };\n l = (\u00E9, x, \"\xFF\");\n",
       "K/b: text that cannot be read, 3:8 (7)\n"
       "l/0: text that cannot be read, 4:7 (2)\n"
       "l/2: text that cannot be read, 4:16 (5)\n"
       ": the list breaks off, 5:1 (0)\n"}};
  for (const auto& [bytes, losses] : kCases) EXPECT_EQ(LossesOf(Saved(bytes)), losses);
  EXPECT_TRUE(Contains(LossesOf(Saved("{ a = 1; /* b")), "a comment that does not end, 1:10"));
}

// Only CTest limits the time; the test would detect quadratic growth.
TEST(PlistSalvage, TakesLinearTime) {
  const std::string head = "<plist><dict><key>a</key><string>v</string>";
  constexpr int kCount = 40'000;
  for (const std::string& bytes :
       {head + Repeated("<!--", kCount), head + Repeated("<?", kCount),
        head + "<key>b</key>" + Repeated("<array>", kCount) + Repeated("</dict>", kCount),
        head + Repeated("<string><![CDATA[", kCount), head + Repeated("<k a=\"", kCount),
        "{ a = v; " + Repeated(";\"\\", kCount), "{ a = v; " + Repeated("{=", kCount),
        head + "<key>" + std::string(100'000, 'k') + "</key><dict>" +
            Repeated("<key>n</key><integer>x</integer>", 2000)}) {
    const Salvage salvage = Saved(bytes);
    EXPECT_GE(salvage.losses.count(), 1u);
    std::size_t path_bytes = 0;
    for (const Loss& loss : salvage.losses.list()) path_bytes += loss.path.size();
    EXPECT_LE(path_bytes, 2 * bytes.size());
  }
}

}  // namespace
}  // namespace orvik::plist
