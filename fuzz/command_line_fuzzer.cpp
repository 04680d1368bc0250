// The grammar of orvikprefs: any words either form a command line that its command can carry out,
// or give a message of one line without control characters.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

using orvik::fuzz::Require;
using namespace orvik::prefstool;

// Each word ends with a line feed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  std::string_view rest(bytes);
  std::vector<std::string> words;
  while (!rest.empty()) words.emplace_back(orvik::fuzz::TakePart(rest, '\n'));
  const Grammar& grammar = OrvikPrefsGrammar();
  const CommandLine line(grammar, words);
  if (!line.error().empty()) {
    for (std::size_t i = 0; i < line.error().size(); ++i) Require(!ControlAt(line.error(), i));
    Require(line.error().size() < 4096);
    return 0;
  }
  if (line.Has("--help") || line.Has("--version")) return 0;
  const Command* const command = line.command();
  Require(command != nullptr && line.pending() == nullptr);
  for (std::size_t i = 0; i < command->positionals.size(); ++i) {
    const Positional& row = command->positionals[i];
    if (row.count == Positional::Count::kOne) Require(i < line.count());
    if (i >= line.count()) break;
    // The commands rely on these checks.
    const std::string argument = line.Argument(i);
    if (row.word == Word::kKey) Require(ParseKey(argument).has_value());
    if (row.word == Word::kName || row.word == Word::kText) Require(FromUtf8(argument).has_value());
  }
  if (line.Has("--scope")) Require(ScopeOf(line.Value("--scope")).has_value());
  if (line.Has("--domain")) Require(FromUtf8(line.Value("--domain")).has_value());
  if (line.Has("--count")) Require(std::stoi(line.Value("--count")) >= 1);
  if (line.Has("--timeout")) Require(std::stod(line.Value("--timeout")) >= 0);
  return 0;
}
