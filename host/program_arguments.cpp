#include "host/program_arguments.h"

#include <optional>

#include "host/replace_file.h"

namespace orvik::host {

namespace {

std::optional<std::vector<std::string>>& Given() {
  static auto& given = *new std::optional<std::vector<std::string>>;
  return given;
}

std::vector<std::string> ReadFromProc() {
  std::string line;
  std::vector<std::string> arguments;
  if (ReadWholeFile("/proc/self/cmdline", &line) != 0) return arguments;
  for (std::size_t at = line.find('\0'); at != std::string::npos && at + 1 < line.size();) {
    const std::size_t end = line.find('\0', at + 1);
    arguments.push_back(line.substr(at + 1, end - at - 1));
    at = end;
  }
  return arguments;
}

}  // namespace

void SetProgramArguments(int argc, const char* const* argv) {
  std::vector<std::string>& arguments = Given().emplace();
  for (int i = 1; i < argc; ++i) arguments.emplace_back(argv[i]);
}

std::vector<std::string> ProgramArguments() {
  return Given() ? *Given() : ReadFromProc();
}

}  // namespace orvik::host
