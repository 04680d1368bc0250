// Runs the benchmarks, shows their progress on standard error and prints one table of them beside
// their peers on standard output; --table-json=FILE writes the same as JSON.
#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

#include "bench/comparison_table.h"

int main(int argc, char** argv) {
  constexpr const char kJsonOption[] = "--table-json=";
  std::string json_file;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], kJsonOption, sizeof kJsonOption - 1) == 0) {
      json_file = argv[i] + sizeof kJsonOption - 1;
    } else {
      argv[kept++] = argv[i];
    }
  }
  argc = kept;
  argv[argc] = nullptr;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

  orvik::bench::ComparisonTable table;
  benchmark::RunSpecifiedBenchmarks(&table);
  benchmark::Shutdown();
  const std::vector<orvik::bench::Row> rows = table.rows();
  orvik::bench::PrintMarkdown(rows, std::cout);
  if (!json_file.empty()) {
    std::ofstream json(json_file);
    orvik::bench::PrintJson(rows, json);
    if (!json.flush()) {
      std::cerr << json_file << ": cannot be written\n";
      return 1;
    }
  }
  return table.any_failed() ? 1 : 0;
}
