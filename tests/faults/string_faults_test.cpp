// Every operation of the strings that needs memory, while each of its allocations fails: a string
// is as it was or as it should be, and no memory is lost.
#include <cstdarg>
#include <new>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"
#include "strings/atl_conversions.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/uca.h"
#include "strings/utf8_strings.h"
#include "tests/faults/fault_layer.h"
#include "tests/support/test_environment.h"

extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace orvik::test {
namespace {

constexpr int kMostPoints = 1000;

struct Outcome {
  bool struck, threw;
};

// Calls the function while its allocation of that number fails.
Outcome FailsAt(int point, const std::function<void()>& function) {
  const FaultPlan plan{Fault::kNoMemory, point};
  bool threw = false;
  Arm(plan);
  try {
    function();
  } catch (const std::bad_alloc&) {
    threw = true;
  }
  return {Disarm().struck, threw};
}

template <typename String>
struct StringOperation {
  const char* name;
  std::function<void(String& text)> run;
};

template <typename String>
class StringFaultsTest : public testing::Test {
 public:
  using Unit = typename String::Unit;
  using Foreign = typename String::Foreign;

  static std::basic_string<Unit> T(std::string_view text) { return {text.begin(), text.end()}; }

  static void FormatList(String& text, const Unit* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    text.FormatV(format, arguments);
    va_end(arguments);
  }

  // Long and with letters that change when their case is folded or mapped.
  static String Start() {
    String text(TextView<Unit>(T(std::string(300, 'a') + "\xE9,b,c")).data());
    return text + Unit{'!'};
  }

  static std::vector<StringOperation<String>> Operations() {
    static const std::basic_string<Unit> long_text = T(std::string(900, 'x'));
    static const std::basic_string<Foreign> foreign(900, Foreign{'y'});
    static const Unit* const units = long_text.c_str();
    static const CFStringRef platform = CFSTR(u"a\u00C9 platform string");
    return {
        {"assign", [](String& text) { text = units; }},
        {"assign foreign", [](String& text) { text = foreign; }},
        {"assign platform string", [](String& text) { text = platform; }},
        {"append", [](String& text) { text += units; }},
        {"append itself", [](String& text) { text += text; }},
        {"append unit", [](String& text) { text += Unit{'u'}; }},
        {"append foreign", [](String& text) { text.Append("narrow"); }},
        {"join", [](String& text) { text = text + units + Unit{'j'}; }},
        {"concat", [](String& text) { text.ConcatCopy(3, text.GetString(), 2, "yz"); }},
        {"insert", [](String& text) { text.Insert(5, units); }},
        {"replace", [](String& text) { text.Replace(T("a"), T("long")); }},
        {"buffer", [](String& text) { text.GetBufferSetLength(2000), text.Truncate(1); }},
        {"lock",
         [](String& text) {
           String shared = text;
           text.LockBuffer();
           text.UnlockBuffer();
           shared.MakeReverse();
           text = shared;
         }},
        {"free extra", [](String& text) { text.GetBuffer(5000), text.FreeExtra(); }},
        {"trim", [](String& text) { text.TrimRight(T("!")); }},
        {"upper", [](String& text) { text.MakeUpper(); }},
        {"pieces",
         [](String& text) {
           int position = 0;
           text = text.Tokenize(T(","), position) + text.Mid(302) + text.Left(2) + text.Right(2);
         }},
        {"format", [](String& text) { FormatList(text, T("%d %400d").c_str(), 1, 2); }},
        {"append format", [](String& text) { text.AppendFormat(T("%d %400d").c_str(), 1, 2); }},
        {"compare",
         [](String& text) { static_cast<void>(text.CompareNoCase(units) + text.Compare(units)); }},
        {"platform string",
         [](String& text) { CFRelease(text.CreateCFStringRef(kCFAllocatorDefault)); }},
        {"other string",
         [](String& text) {
           text = CAtlString(MakeUTF8StringFromUnicodeString(CAtlString(text)));
         }},
        {"from UTF-8",
         [](String& text) { text = MakeWideStringFromUTF8String(CAtlStringA('\x65', 700)); }}};
  }
};

using StringTypes = testing::Types<CAtlString, CAtlStringA>;
TYPED_TEST_SUITE(StringFaultsTest, StringTypes);

TYPED_TEST(StringFaultsTest, LeaveTheStringAsItWas) {
  using Plain = std::basic_string<typename TypeParam::Unit>;
  for (const auto& operation : this->Operations()) {
    SCOPED_TRACE(operation.name);
    TypeParam finished = this->Start();
    const Plain old(finished.View());
    operation.run(finished);
    for (const bool is_shared : {false, true}) {
      Outcome outcome = {true, false};
      int point = 0;
      while (outcome.struck && ++point < kMostPoints) {
        TypeParam text = this->Start();
        const TypeParam shared = is_shared ? text : TypeParam();
        outcome = FailsAt(point, [&] { operation.run(text); });
        EXPECT_EQ(text.GetString()[text.GetLength()], 0) << point;
        EXPECT_TRUE(shared.View() == (is_shared ? old : Plain())) << point;
        if (text.View() == finished.View() && !outcome.threw) continue;
        EXPECT_EQ(Plain(text.View()), old) << point;
        EXPECT_TRUE(outcome.struck);
      }
      EXPECT_TRUE(point > 1 || !is_shared) << "allocates nothing";
      EXPECT_LT(point, kMostPoints);
    }
  }
  if (__lsan_do_recoverable_leak_check == nullptr) return;
  EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
}

TEST(ArrayFaultsTest, LoseNoMemory) {
  char16_t text[] = u"stra\u00DFe \u0130 abcdefghijklmnopqrstuvwxyz", buffer[500];
  const std::function<void()> operations[] = {
      [&] { ucaupr(text), ucalwr(text); }, [] { ucaicmp(u"Stra\u00DFe", u"STRASSE"); },
      [&] { sucaprintf(buffer, u"%300d %S", 1, u"text"); }, [] { std::free(A2WBSTR("text")); },
      [] {
        const Owned<NSArray> objects(NSArray::Create());
        objects->addObject(CFSTR(u"element"));
        CAtlString().Format(u"%@", objects.get());
      }};
  for (const auto& operation : operations) {
    operation();  // loads ICU, which ends the process when it fails
    for (int point = 1; point < kMostPoints && FailsAt(point, operation).struck; ++point) continue;
  }
  if (__lsan_do_recoverable_leak_check == nullptr) return;
  EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
}

}  // namespace
}  // namespace orvik::test
