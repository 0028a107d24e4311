// What the memory allows: the time to read a job's source and to write its result, without anything in between.
#pragma once

#include "harness.h"
#include "peers.h"

namespace kelvo::Bench {

// Reads src once, and writes dst_n floats by stores that bypass the caches where the CPU has them.
void MoveBytes(float* dst, std::size_t dst_n, const Buffer& src);

// Ours, the peers and the memory's bandwidth: the ratio of the last is the share of it that we use.
template <class Job>
Contest AgainstPeersAndBandwidth(Job job) {
  Contest contest = AgainstPeers(std::move(job));
  const Buffer& src = static_cast<const Job*>(contest.job.get())->src;
  const std::size_t dst_n = contest.result_n;
  const std::size_t megabytes = (src.size() + dst_n) * sizeof(float) / 1'000'000;
  contest.contestants.push_back({"moving its " + std::to_string(megabytes) + " MB",
                                 [&src, dst_n](float* dst) { MoveBytes(dst, dst_n, src); }, true});
  return contest;
}

}  // namespace kelvo::Bench
