#include "tests/support/plist_files.h"

#include <sstream>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

const char kDump[] = R"(
import json, os, plistlib, sys
for path in sys.stdin.read().splitlines():
    try:
        with open(path, 'rb') as file:
            print(json.dumps(plistlib.load(file), sort_keys=True, ensure_ascii=False,
                             separators=(',', ':')))
    except FileNotFoundError:
        print('missing')
    except Exception:
        print('damaged')
)";

const char kWrite[] = R"(
import json, plistlib, sys
form = plistlib.FMT_BINARY if sys.argv[2] == 'binary' else plistlib.FMT_XML
with open(sys.argv[1], 'wb') as file:
    plistlib.dump(json.load(sys.stdin), file, fmt=form)
)";

}  // namespace

std::vector<std::string> OnDisk(const std::vector<std::filesystem::path>& files) {
  std::string input;
  for (const auto& file : files) input += file.string() + "\n";
  const CommandResult result = RunCommand({"python3", "-X", "utf8", "-c", kDump}, input);
  EXPECT_EQ(result.status, 0) << result.err;
  std::vector<std::string> lines;
  std::istringstream out(result.out);
  for (std::string line; std::getline(out, line);) lines.push_back(line);
  lines.resize(files.size());
  return lines;
}

std::string OnDisk(const std::filesystem::path& file) {
  return OnDisk(std::vector{file}).front();
}

void WritePlist(const std::filesystem::path& file, const std::string& json,
                const std::string& format) {
  std::filesystem::create_directories(file.parent_path());
  const CommandResult result =
      RunCommand({"python3", "-X", "utf8", "-c", kWrite, file.string(), format}, json);
  ASSERT_EQ(result.status, 0) << result.err;
}

}  // namespace orvik::test
