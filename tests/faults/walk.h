// Walks an operation through every fault that can affect it (docs/reliability.md has the rules).
//
// For each fault, n goes from 1 until the operation ends before an n-th call. On a new stage the
// n-th call fails, the process is killed there, or the operation is stopped. An operation that
// promises more than whole files is also walked through every state that a power failure can leave
// (crash_states.h); at its end only the new files are correct.
#pragma once

#include "files/progress.h"
#include "tests/faults/fault_layer.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

enum class Reported { kDone, kFailed, kNothing };

// Paths below the stage (root/, home/ and tmp/) with the mode and content of each.
using Snapshot = std::map<std::string, std::string>;

// When an operation changes several files: whether each file may be old or new by itself (never,
// only when the process is killed, or always).
enum class Steps { kNone, kWhenKilled, kAlways };

// What holds after a power failure. kNo: not walked. kWhole: all files are old or new. kDone: also,
// everything that the operation has reported as done is on disk.
enum class Durable { kNo, kWhole, kDone };

struct Operation {
  std::string name;
  std::function<void()> prepare;
  std::function<Reported()> run;

  Steps steps = Steps::kNone;
  // Patterns of files that stay until the next run when the process is killed or a removal fails.
  std::vector<std::string> leftovers = {"*/.*.orvik-*"};
  // Accepts other sound states of a file (null: missing) that an operation reports in its own way.
  std::function<bool(const std::string& path, const std::string* content)> also = {};
  // Describes what is wrong with the files as a whole; "" for nothing.
  std::function<std::string(const Snapshot& files)> fault = {};
  Volume volume = Volume::kUsual;
  // A second run gives the new files from any state in which the first was stopped, not only from
  // the old files.
  bool repeats = true;
  int stride = 1;  // walks only every n-th point of a long operation
  Durable durable = Durable::kNo;
  bool only_stops = false;  // too slow to be walked through the other faults
};

// Operations. Each call adds one, with the usual values for all other members.
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

// The folder of the files at the present point, and paths in it.
const std::string& Stage();
std::string InRoot(const std::string& path);
std::string InHome(const std::string& path);
std::string InTemp(const std::string& path);

// The progress for an operation that can be stopped; null unless the walk stops it.
Progress* TheProgress();

// Reports that the result of an operation is wrong, for results that are not files.
void ReportFault(const std::string& text);

// Walks the operation. Every finding is a test failure. Prints the number of points.
void Walk(const Operation& operation);

// Each file with operations instantiates it with its table.
class FaultsTest : public ::testing::TestWithParam<Operation> {};

}  // namespace orvik::test
