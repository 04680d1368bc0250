// orvikprefs in this process: each call runs one command line.
#pragma once

#include <iomanip>
#include <sstream>

#include "tests/support/test_environment.h"
#include "tools/orvikprefs/commands.h"

namespace orvik::test {

constexpr const char* kFile = "Users/Shared/Library/Preferences/com.orviktech.Registry.plist";

class OrvikPrefsTest : public EnvironmentTest {
 protected:
  // The exit status of the program for the words of the line; 'quotes' keep the blanks in a word.
  int Prefs(const std::string& line, bool terminal = false) {
    std::vector<std::string> words = {"orvikprefs"};
    std::istringstream stream(line);
    for (std::string word; stream >> std::quoted(word, '\'', '\0');) words.push_back(word);
    std::vector<const char*> argv;
    for (const std::string& word : words) argv.push_back(word.c_str());
    std::ostringstream out, error;
    const int status =
        prefstool::Run(static_cast<int>(argv.size()), argv.data(), terminal, out, error);
    out_ = out.str();
    error_ = error.str();
    return status;
  }
  // The output of a run, which must succeed.
  std::string Out(const std::string& line) {
    EXPECT_EQ(Prefs(line), 0) << line << ": " << error_;
    return out_;
  }
  void Fails(const std::string& line, int status, const std::string& message) {
    EXPECT_EQ(Prefs(line), status) << line << ": " << error_;
    EXPECT_TRUE(Contains(error_, message));
  }

  fs::path File() const { return env_.system_root() / kFile; }

  void Fill() {
    Out("set Software/Vendor/App Path /Apps/Größe");
    Out("set Software/Vendor/App Count 42 --int");
    Out("set Software/Vendor 'line\nbreak' 'a\tb'");
  }

  std::string out_, error_;
  const std::string given_ = env_.folder() / "given";  // a file for import, diff and apply
  const std::string program_ = ProgramFolder() / "orvikprefs";
};

}  // namespace orvik::test
