#include "bench/comparison_table.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace orvik::bench {

namespace {

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

// How far the repetitions lie apart: the largest less the smallest, as a part of the median.
double Spread(const std::vector<double>& values) {
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  return (*most - *least) / Median(values);
}

bool IsOurs(const Measured& entry) {
  return entry.role.rfind("ours", 0) == 0;
}

// The name of a way or of a peer: what follows the colon.
std::string AfterColon(const std::string& role) {
  const std::size_t colon = role.find(':');
  return colon == role.npos ? "" : role.substr(colon + 1);
}

Measured Split(const benchmark::BenchmarkReporter::Run& run) {
  Measured entry;
  std::string rest = run.run_name.function_name;
  while (!rest.empty()) {
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    const std::string part = rest.substr(0, slash);
    rest.erase(0, slash + 1);
    if (part == "ours" || part.rfind("ours:", 0) == 0 || part.rfind("peer:", 0) == 0) {
      entry.role = part;
    } else {
      entry.family += (entry.family.empty() ? "" : "/") + part;
    }
  }
  entry.has_arguments = !run.run_name.args.empty();
  entry.name = entry.family + (entry.has_arguments ? "/" + run.run_name.args : "");
  return entry;
}

std::string Time(double nanoseconds) {
  static constexpr const char* kUnits[] = {"ns", "us", "ms", "s"};
  std::size_t unit = 0;
  while (nanoseconds >= 1000 && unit + 1 < std::size(kUnits)) nanoseconds /= 1000, ++unit;
  char text[32];
  std::snprintf(text, sizeof text, "%.3g %s", nanoseconds, kUnits[unit]);
  return text;
}

}  // namespace

std::vector<Row> PairUp(const std::vector<Measured>& measured) {
  std::vector<Row> rows;
  for (const Measured& ours : measured) {
    if (!IsOurs(ours)) continue;
    Row row;
    const std::string way = AfterColon(ours.role);
    row.name = ours.name + (way.empty() ? "" : " (" + way + ")");
    row.ours = Median(ours.nanoseconds);
    row.spread = Spread(ours.nanoseconds);
    bool has_peer = false;
    for (const Measured& peer : measured) {
      const bool is_beside =
          peer.name == ours.name || (!peer.has_arguments && peer.family == ours.family);
      if (IsOurs(peer) || !is_beside) continue;
      row.peer_name = AfterColon(peer.role);
      row.peer = Median(peer.nanoseconds);
      row.spread = std::max(Spread(ours.nanoseconds), Spread(peer.nanoseconds));
      rows.push_back(row);
      has_peer = true;
    }
    if (!has_peer) rows.push_back(row);
  }
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    return std::tie(a.name, a.peer_name) < std::tie(b.name, b.peer_name);
  });
  return rows;
}

void PrintMarkdown(const std::vector<Row>& rows, std::ostream& out) {
  out << "| name | ours | peer | ratio | spread |\n|---|---:|---:|---:|---:|\n";
  for (const Row& row : rows) {
    char ratio[32] = "", spread[32] = "";
    if (row.peer > 0) std::snprintf(ratio, sizeof ratio, "%.2f", row.Ratio());
    if (row.spread > 0) std::snprintf(spread, sizeof spread, "%.0f %%", row.spread * 100);
    out << "| " << row.name << " | " << Time(row.ours) << " | "
        << (row.peer > 0 ? Time(row.peer) + " " + row.peer_name : "") << " | " << ratio << " | "
        << spread << " |\n";
  }
}

// Names hold nothing that JSON would escape.
void PrintJson(const std::vector<Row>& rows, std::ostream& out) {
  const char* separator = "[\n";
  for (const Row& row : rows) {
    out << separator << "  {\"name\": \"" << row.name << "\", \"ours_ns\": " << row.ours;
    if (row.peer > 0) {
      out << ", \"peer\": \"" << row.peer_name << "\", \"peer_ns\": " << row.peer
          << ", \"ratio\": " << row.Ratio();
    }
    out << "}";
    separator = ",\n";
  }
  out << (rows.empty() ? "[]\n" : "\n]\n");
}

ComparisonTable::ComparisonTable() : ConsoleReporter(OO_Tabular) {
  SetOutputStream(&std::cerr);
  SetErrorStream(&std::cerr);
}

void ComparisonTable::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    any_failed_ = any_failed_ || run.error_occurred;
    if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
    const bool is_real_time = run.run_name.time_type.find("real_time") != std::string::npos;
    const double time = is_real_time ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
    Measured entry = Split(run);
    auto at = std::find_if(measured_.begin(), measured_.end(), [&](const Measured& known) {
      return known.name == entry.name && known.role == entry.role;
    });
    if (at == measured_.end()) at = measured_.insert(at, std::move(entry));
    at->nanoseconds.push_back(time / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9);
  }
}

}  // namespace orvik::bench
