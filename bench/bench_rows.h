// The rows of bench/run-all's table: each benchmark appends one line per
// figure to the file that FENNORIA_BENCH_ROWS names (nothing when it is not
// set), beside its own printout:
//
//   row <TAB> work <TAB> unit <TAB> ours <TAB> baseline's name <TAB> baseline
//       <TAB> ratio <TAB> peak memory in KiB, or "-"
//
// The ratio is our speed over the baseline's, measured in the same run: above
// 1 we are faster.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

inline void benchRow(const std::string& work, const char* unit, double ours,
                     const std::string& baselineName, double baseline, double ratio,
                     long peakKiB = -1) {
  const char* name = std::getenv("FENNORIA_BENCH_ROWS");
  if (!name || !*name) return;
  std::FILE* rows = std::fopen(name, "a");
  if (!rows) return;
  std::string peak = peakKiB < 0 ? "-" : std::to_string(peakKiB);
  std::fprintf(rows, "row\t%s\t%s\t%.6g\t%s\t%.6g\t%.4f\t%s\n", work.c_str(), unit, ours,
               baselineName.c_str(), baseline, ratio, peak.c_str());
  std::fclose(rows);
}
