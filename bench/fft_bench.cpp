// The FFT exports.
#include <string>

#include "jobs.h"
#include "peers/peers.h"
#include "rows.h"

namespace kelvo::Bench {

void AddFftRows() {
  struct Size {
    std::size_t fft_n;
    double goal;
  };
  for (const Size size : {Size{256, 1.3},
                          {400, 1.3},
                          {480, 1.3},
                          {1000, 1.3},
                          {1200, 1.3},
                          {512, 1.5},
                          {1024, 1.5},
                          {2048, 1.5},
                          {4096, 1.5},
                          {16384, 1.7}}) {
    AddRow({.section = "FFT of a real signal, all bins",
            .name = std::to_string(size.fft_n),
            .goal = size.goal,
            .make_contest = [=] { return AgainstPeers(MakeForwardFft(size.fft_n)); }});
  }
  // Primes, lengths with large ones, and 10, 20, 40 and 1000 ms at 44.1 kHz.
  for (const Size size :
       {Size{17, 1.0},    {19, 1.0},   {23, 1.0},    {31, 1.0},    {47, 1.0},    {61, 2.0},        {79, 2.0},
        {101, 3.0},       {127, 3.0},  {163, 3.0},   {199, 3.0},   {254, 3.0},   {331, 3.0},       {401, 3.0},
        {1009, 3.0},      {4093, 3.0}, {10007, 3.0}, {16001, 3.0}, {44101, 3.0}, {2 * 10007, 3.0}, {3 * 4093, 3.0},
        {127 * 129, 3.0}, {441, 1.3},  {882, 1.3},   {1764, 1.3},  {44100, 1.3}}) {
    AddRow({.section = "Any length: FFT of a real signal, all bins",
            .name = std::to_string(size.fft_n),
            .goal = size.goal,
            .make_contest = [=] { return AgainstPeers(MakeForwardFft(size.fft_n)); }});
  }
  for (const Size size :
       {Size{256, 1.0}, {400, 1.0}, {512, 1.0}, {1024, 1.0}, {2048, 1.0}, {4096, 1.1}, {16384, 1.5}}) {
    AddRow(
        {.section = "Inverse FFT, complex", .name = std::to_string(size.fft_n), .goal = size.goal, .make_contest = [=] {
           return AgainstPeers(MakeInverseFft(size.fft_n));
         }});
  }
}

}  // namespace kelvo::Bench
