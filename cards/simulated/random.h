#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace kestrune::simulated {

/// xoshiro256++ of Blackman and Vigna, seeded by splitmix64. The same seed and stream give the same numbers
/// with every compiler and run-time library.
class Random {
 public:
  /// Streams of the same seed are independent of each other.
  Random(std::uint64_t seed, std::uint64_t stream) {
    std::uint64_t state = Mix(seed) ^ Mix(~stream);
    for (std::uint64_t& word : words_) word = Mix(state += goldenGamma);
  }

  /// Evenly distributed in [0, 1).
  double Uniform() { return static_cast<double>(Next() >> 11) * 0x1p-53; }

  /// Mean 0 and standard deviation 1: a sum of twelve 16-bit numbers, thus within ±6 and without a function
  /// of the mathematics library, whose last bit would differ between platforms.
  double Gaussian() {
    std::uint64_t sum = 0;
    for (int draw = 0; draw < 3; ++draw) {
      const std::uint64_t bits = Next();
      sum += (bits & 0xFFFF) + (bits >> 16 & 0xFFFF) + (bits >> 32 & 0xFFFF) + (bits >> 48);
    }
    return (static_cast<double>(sum) - 6.0 * 65535.0) * 0x1p-16;
  }

  bool Chance(double probability) { return probability > 0 && Uniform() < probability; }

 private:
  static constexpr std::uint64_t goldenGamma = 0x9E3779B97F4A7C15;

  static std::uint64_t Mix(std::uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }

  std::uint64_t Next() {
    const std::uint64_t result = std::rotl(words_[0] + words_[3], 23) + words_[0];
    const std::uint64_t shifted = words_[1] << 17;
    words_[2] ^= words_[0];
    words_[3] ^= words_[1];
    words_[1] ^= words_[2];
    words_[0] ^= words_[3];
    words_[2] ^= shifted;
    words_[3] = std::rotl(words_[3], 45);
    return result;
  }

  std::array<std::uint64_t, 4> words_;
};

}  // namespace kestrune::simulated
