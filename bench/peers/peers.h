// The list of peers. Each file in this folder wraps one library and registers the jobs that it can do; the file of a
// library that is not installed is left out of the build.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "harness.h"
#include "jobs.h"

namespace kelvo::Bench {

template <class Job>
struct Peer {
  std::string name;
  std::function<Run(const Job&)> prepare;  // returns an empty Run for a job that this peer cannot do
};

template <class Job>
std::vector<Peer<Job>>& Peers() {
  static std::vector<Peer<Job>> peers;
  return peers;
}

// Registers an implementation: a class constructed from a job, which outlives it, whose operator()(float* dst) does it.
template <class Job, class Implementation>
bool RegisterPeer(std::string name) {
  Peers<Job>().push_back({std::move(name), [](const Job& job) -> Run {
                            if constexpr (requires { Implementation::CanDo(job); }) {
                              if (!Implementation::CanDo(job)) return {};
                            }
                            return [work = std::make_shared<Implementation>(job)](float* dst) { (*work)(dst); };
                          }});
  return true;
}

// Ours against all peers that can do the job.
template <class Job>
Contest AgainstPeers(Job job) {
  const auto kept = std::make_shared<const Job>(std::move(job));
  Contest contest{kept, kept->ResultCount(), {{"ours", [&job = *kept](float* dst) { RunOurs(job, dst); }}}};
  for (const Peer<Job>& peer : Peers<Job>()) {
    if (Run run = peer.prepare(*kept)) contest.contestants.push_back({peer.name, std::move(run)});
  }
  return contest;
}

}  // namespace kelvo::Bench
