// Where every benchmark case puts the values it reads, so that all cases do
// the same work with what they read: each value is handed to the optimiser
// barrier and folded into a small checksum. After timing, a case compares
// the checksum of its last pass with the one BenchDatabase expects, so a
// case that reads the wrong columns (an unknown name reads as 0) reports an
// error instead of a flattering time.
//
// Thread-safety: none; one per benchmark run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace kestrel::bench {

struct ReadSink {
  std::int64_t integerSum = 0;
  std::size_t textBytes = 0;
  std::size_t values = 0;

  void integer(std::int64_t value) {
    benchmark::DoNotOptimize(value);
    integerSum += value;
    ++values;
  }
  void text(const std::string& value) {
    benchmark::DoNotOptimize(value);
    textBytes += value.size();
    ++values;
  }
  void clear() { *this = ReadSink{}; }

  bool operator==(const ReadSink&) const = default;
};

}  // namespace kestrel::bench
