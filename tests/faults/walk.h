// Walks an operation through every fault that can hit it (docs/reliability.md has the rules).
//
// For each fault, n goes from 1 until the operation ends without meeting an n-th call: on a fresh
// stage the n-th call fails, or the process is killed there, or the operation is stopped. An
// operation that promises more than that its files are whole is also walked through every state
// that a loss of power can leave (crash_states.h); of its end only the new files are right.
#pragma once

#include "files/progress.h"
#include "tests/faults/fault_layer.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

enum class Reported { kDone, kFailed, kNothing };

// Paths below the stage (root/, home/ and tmp/) with the mode and content of each.
using Snapshot = std::map<std::string, std::string>;

// Where an operation changes several files: whether each is old or new by itself, or all together.
enum class Steps { kNone, kWhenKilled, kAlways };

// Whether an operation is walked through the states after a loss of power: all files are old or new
// then; or what it reports as done is on disk, too.
enum class Durable { kNo, kWhole, kDone };

struct Operation {
  std::string name;
  std::function<void()> prepare;
  std::function<Reported()> run;

  Steps steps = Steps::kNone;
  // Patterns of files that stay when the process is killed, or a removal fails, until the next run.
  std::vector<std::string> leftovers = {"*/.*.orvik-*"};
  // Other sound states of a file (null: it is missing), reported in their own way.
  std::function<bool(const std::string& path, const std::string* content)> also = {};
  // What is wrong with the files as a whole; "" for nothing.
  std::function<std::string(const Snapshot& files)> fault = {};
  Volume volume = Volume::kUsual;
  // Carried out again it gives the new files from wherever it was stopped, not only from the old.
  bool repeats = true;
  int stride = 1;  // of a long operation not every point is walked
  Durable durable = Durable::kNo;
  bool only_stops = false;  // too long to be walked through the other faults
};

// Operations, each put in by a call that leaves everything else as it usually is.
struct OperationTable : std::vector<Operation> {
  Operation& operator()(std::string name, std::function<void()> prepare,
                        std::function<Reported()> run) {
    return emplace_back(
        Operation{.name = std::move(name), .prepare = std::move(prepare), .run = std::move(run)});
  }
};

inline void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

// Where the present point's files lie.
const std::string& Stage();
std::string InRoot(const std::string& path);
std::string InHome(const std::string& path);
std::string InTemp(const std::string& path);

// What an operation that can be stopped passes on; null unless it is to be stopped.
Progress* TheProgress();

// For operations whose result is no file: says that it is wrong.
void ReportFault(const std::string& text);

// The walk, with every finding a test failure. Prints how many points there were.
void Walk(const Operation& operation);

// Each file of operations instantiates it with its table.
class FaultsTest : public ::testing::TestWithParam<Operation> {};

}  // namespace orvik::test
