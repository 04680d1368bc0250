// The reporter that gathers a run into one table of what is measured beside its peers.
//
// A benchmark is named Area/Operation[/size]/ours, its peers Area/Operation[/size]/peer:program; a
// way of several is ours:way. Arguments follow as the library appends them. Names that differ only
// in that part make a row; a peer without arguments is shown beside every argument.
#pragma once

#include <benchmark/benchmark.h>

#include <ostream>
#include <string>
#include <vector>

namespace orvik::bench {

struct Measured {
  std::string name;    // without the part that names ours or a peer
  std::string role;    // "ours", "ours:way" or "peer:program"
  std::string family;  // the name without its arguments
  bool has_arguments = false;
  std::vector<double> nanoseconds;  // one an iteration, of each repetition
};

struct Row {
  std::string name;
  double ours = 0;  // nanoseconds, the median of the repetitions
  std::string peer_name;
  double peer = 0;  // 0 without a peer
  // How far the repetitions of ours or of the peer lie apart, whichever more: the largest less the
  // smallest, as a part of the median; 0 with one repetition.
  double spread = 0;
  double Ratio() const { return peer > 0 ? ours / peer : 0; }
};

std::vector<Row> PairUp(const std::vector<Measured>& measured);
void PrintMarkdown(const std::vector<Row>& rows, std::ostream& out);
void PrintJson(const std::vector<Row>& rows, std::ostream& out);

// Shows the progress on standard error. The times are processor time, or real time where the
// benchmark asks for it.
class ComparisonTable : public benchmark::ConsoleReporter {
 public:
  ComparisonTable();
  void ReportRuns(const std::vector<Run>& runs) override;
  std::vector<Row> rows() const { return PairUp(measured_); }
  bool any_failed() const { return any_failed_; }

 private:
  std::vector<Measured> measured_;
  bool any_failed_ = false;
};

}  // namespace orvik::bench
