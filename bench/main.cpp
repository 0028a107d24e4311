// Runs the contests and writes their tables. Google Benchmark's options apply, --benchmark_filter=REGEX above all.
// Usage: kelvo_audio_bench [--tables=FILE] [GOOGLE BENCHMARK OPTIONS]
#include <benchmark/benchmark.h>

#include <fstream>
#include <iostream>
#include <string_view>

#include "rows.h"
#include "tables.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const char* tables_path = nullptr;
  constexpr std::string_view kTables = "--tables=";
  if (argc == 2 && std::string_view(argv[1]).starts_with(kTables)) {
    tables_path = argv[1] + kTables.size();
  } else if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }

  kelvo::Bench::AddMelRows();
  kelvo::Bench::AddStftRows();
  kelvo::Bench::AddFftRows();
  kelvo::Bench::AddFilterRows();
  kelvo::Bench::AddResampleRows();
  kelvo::Bench::AddConversionRows();
  kelvo::Bench::AddCallRows();
  kelvo::Bench::AddLongRows();
  kelvo::Bench::AddLevelRows();
  benchmark::RunSpecifiedBenchmarks();

  if (!tables_path) {
    kelvo::Bench::WriteTables(std::cout, kelvo::Bench::Results());
    return 0;
  }
  std::ofstream file(tables_path);
  kelvo::Bench::WriteTables(file, kelvo::Bench::Results());
  return file.flush() ? 0 : 1;
}
