// The membership questions the cache cases ask: 4096 IDs scattered over
// 0..2n in a fixed order, the same for every case, so that about half of
// them hit a set holding n of the even numbers below 2n.
#pragma once

#include <cstdint>
#include <vector>

namespace kestrel::bench {

inline std::vector<std::int64_t> membershipQuestions(std::int64_t cached) {
  std::vector<std::int64_t> out(4096);
  std::uint64_t state = 0x9e3779b97f4a7c15ULL;
  for (auto& question : out) {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    question = static_cast<std::int64_t>((state >> 33) % static_cast<std::uint64_t>(2 * cached));
  }
  return out;
}

}  // namespace kestrel::bench
