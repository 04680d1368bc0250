// Other programs read what is written here, and their lists are read and written back.
#include "tests/plist/described_lists.h"
#include "tests/support/test_environment.h"

namespace orvik::plist {
namespace {

using namespace test;

constexpr const char* kValues = R"(
import datetime, plistlib, sys
values = {
  'text': 'a & b <c> "d" \n\t\u00e9\u4e16\U0001F600', 'empty': '', 'latin': '\u00ff',
  'integers': [0, 1, -1, 255, 256, 65536, 2**31, 2**32, 2**63 - 1, -2**63, 2**63, 2**64 - 1],
  'reals': [0.0, 0.1, -1.5, 1e300, 5e-324, float('inf'), 3.0], 'yes': True, 'no': False,
  'dates': [datetime.datetime(2001, 1, 1), datetime.datetime(1969, 7, 20, 20, 17, 40),
            datetime.datetime(2100, 2, 28, 23, 59, 59), datetime.datetime(1583, 1, 1)],
  'data': [b'', b'\x00', bytes(range(256))], 'nested': {'a': {'b': [[], {}, [1, [2]]]}},
  '': 'key', '\U0001F600': 1, '\uffee': 2, 'many': ['x%d' % i for i in range(300)]}
)";

CommandResult Python(const std::string& code, const std::string& input = {}) {
  return RunCommand({"python3", "-c", kValues + code}, input);
}

class PlistExchange : public EnvironmentTest {
 protected:
  static std::string FromPython(const std::string& format) {
    const CommandResult result =
        Python("sys.stdout.buffer.write(plistlib.dumps(values, fmt=plistlib." + format + "))");
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

  static void ExpectPythonReads(const std::string& bytes) {
    const CommandResult result = Python(
        "read = plistlib.loads(sys.stdin.buffer.read())\n"
        "for k in values:\n  assert repr(read[k]) == repr(values[k]), (k, read[k])\n"
        "assert len(read) == len(values)",
        bytes);
    EXPECT_EQ(result.status, 0) << result.err;
  }
};

TEST_F(PlistExchange, EveryValueOfPythonIsKeptInBothForms) {
  const Value from_xml = Root(FromPython("FMT_XML"));
  const Value from_binary = Root(FromPython("FMT_BINARY"));
  EXPECT_EQ(from_xml, from_binary);
  for (const Value& list : {from_xml, from_binary}) {
    ASSERT_TRUE(list);
    ExpectPythonReads(*WriteXml(list));
    ExpectPythonReads(*WriteBinary(list));
  }
}

TEST_F(PlistExchange, PythonsXmlIsWrittenBackByteForByte) {
  const CommandResult python = Python(
      "del values['reals'], values['text'], values['\\U0001F600'], values['\\uffee']\n"
      "sys.stdout.buffer.write(plistlib.dumps(values))");
  ASSERT_EQ(python.status, 0) << python.err;
  EXPECT_EQ(*WriteXml(Root(python.out)), python.out);
}

TEST_F(PlistExchange, BinaryKeepsWhatXmlDoesNot) {
  const CommandResult written = Python(
      "sys.stdout.buffer.write(plistlib.dumps(['a\\0b', plistlib.UID(70000),"
      " datetime.datetime(2020,1,1,0,0,0,250000)], fmt=plistlib.FMT_BINARY))");
  ASSERT_EQ(written.status, 0) << written.err;
  const std::string again = *WriteBinary(Root(written.out));
  const CommandResult read = Python("print(plistlib.loads(sys.stdin.buffer.read()))", again);
  EXPECT_EQ(read.out, "['a\\x00b', UID(70000), datetime.datetime(2020, 1, 1, 0, 0, 0, 250000)]\n");
  const Value surrogate = std::u16string{u'a', 0xD800, 0xFFFF, 0};
  EXPECT_EQ(Root(*WriteBinary(surrogate)), surrogate);
  const std::string narrow_real = std::string("bplist00\x22\x3F\xC0\x00\x00\x08", 14) +
                                  std::string(6, '\0') + "\x01\x01" + std::string(7, '\0') +
                                  "\x01" + std::string(15, '\0') + "\x0D";
  EXPECT_EQ(*WriteBinary(Root(narrow_real)), narrow_real);
}

TEST_F(PlistExchange, OthersPassOverTheExactBitsOfADate) {
  const Value date = Value::Date(0.25);
  const fs::path in = env_.temp() / "in.plist", out = env_.temp() / "out.plist";
  WriteFile(in, *WriteXml(date));
  const CommandResult python =
      Python("print(plistlib.loads(sys.stdin.buffer.read()))", ReadFile(in));
  EXPECT_EQ(python.out, "2001-01-01 00:00:00\n") << python.err;
  const CommandResult plistutil = RunCommand({"plistutil", "-i", in, "-o", out});
  EXPECT_EQ(plistutil.status, 0) << plistutil.err;
  EXPECT_EQ(DescribeBytes(ReadFile(out)), "d:0");
}

TEST_F(PlistExchange, PlistutilConvertsBothWays) {
  const fs::path in = env_.temp() / "in.plist", out = env_.temp() / "out.plist";
  // Its XML reader takes no infinity, and its binary reader cuts fractions off.
  const CommandResult python = Python(
      "values['reals'].remove(float('inf'))\nsys.stdout.buffer.write(plistlib.dumps(values))");
  const Value list = Root(python.out);
  ASSERT_TRUE(list);
  for (const std::string& bytes : {*WriteXml(list), *WriteBinary(list)}) {
    WriteFile(in, bytes);
    const CommandResult result = RunCommand({"plistutil", "-i", in, "-o", out});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(Root(ReadFile(out)), list);
  }
}

}  // namespace
}  // namespace orvik::plist
