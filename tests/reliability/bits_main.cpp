// Prints a hash of the results of each export, for each of its settings, and one SHA-256 over that list: the
// certificate that this build computes the bits of all others. Fails where a hash is not the stored one.
#include <array>
#include <bit>
#include <cstdio>
#include <string>

#include "reliability/calls.h"
#include "reliability/golden.h"

namespace {

using namespace kelvo::Reliability;

// FIPS 180-4.
std::string Sha256(std::string text) {
  // The first 32 bits of the fractional parts of the roots of the first primes, square roots for the state and cube
  // roots for the rounds: as integers, since no C library shall decide a bit here either.
  constexpr std::array<std::uint32_t, 64> kRounds{
      0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
      0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
      0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
      0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
      0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
      0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
      0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
      0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
  std::array<std::uint32_t, 8> state{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                     0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  const std::uint64_t bit_n = std::uint64_t{8} * text.size();
  text += static_cast<char>(0x80);
  while (text.size() % 64 != 56) text += '\0';
  for (int shift = 56; shift >= 0; shift -= 8) text += static_cast<char>(bit_n >> shift & 0xFF);
  for (std::size_t begin = 0; begin < text.size(); begin += 64) {
    std::array<std::uint32_t, 64> words{};
    for (std::size_t i = 0; i < 64; ++i) {
      words[i / 4] = words[i / 4] << 8 | static_cast<unsigned char>(text[begin + i]);
    }
    for (std::size_t i = 16; i < 64; ++i) {
      const std::uint32_t early = words[i - 15];
      const std::uint32_t late = words[i - 2];
      words[i] = words[i - 16] + (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) + words[i - 7] +
                 (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < 64; ++i) {
      const std::uint32_t first =
          h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + ((e & f) ^ (~e & g)) + kRounds[i] + words[i];
      const std::uint32_t second =
          (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
      h = g;
      g = f;
      f = e;
      e = d + first;
      d = c;
      c = b;
      b = a;
      a = first + second;
    }
    const std::array<std::uint32_t, 8> mixed{a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < 8; ++i) state[i] += mixed[i];
  }
  std::string digest;
  for (const std::uint32_t word : state) {
    char text_of_word[9];
    std::snprintf(text_of_word, sizeof text_of_word, "%08x", static_cast<unsigned>(word));
    digest += text_of_word;
  }
  return digest;
}

}  // namespace

int main() {
  std::string list;
  std::string stored_list;
  for (const Export& subject : Exports()) {
    const auto row = StoredHashes().find(subject.name);
    for (std::size_t s = 0; s < subject.settings.size(); ++s) {
      const auto line = [&](std::uint64_t hash) {
        char hex[17];
        std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(hash));
        return std::string(subject.name) + " " + std::to_string(s) + " " + hex + "\n";
      };
      list += line(HashOfResults(subject, subject.settings[s]));
      if (row != StoredHashes().end() && s < row->second.size()) stored_list += line(row->second[s]);
    }
  }
  const std::string digest = Sha256(list);
  std::printf("%sSHA-256 %s, %s\n", list.c_str(), digest.c_str(), list == stored_list ? "as stored" : "not as stored");
  return list == stored_list ? 0 : 1;
}
