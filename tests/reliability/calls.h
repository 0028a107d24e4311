// All exports in one table, so that one test covers every export.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "support/guarded_buffer.h"

namespace kelvo::Reliability {

// A scalar argument: a count, a mode or a setting.
using Scalar = std::variant<int, float>;
using Scalars = std::vector<Scalar>;

// The array lengths and the cost of a call with certain scalars. Doubles, since products of counts exceed 64 bits.
struct Extent {
  std::vector<double> lengths;  // of each array as documented, in elements of four bytes; 0 where no call can succeed
  double operations;            // roughly, tables included
};

// The contents of an array before a call: noise, noise of denormals, noise with all special values in it.
enum class Content { noise, tiny_noise, mixed_noise, sentinels };

enum class Role { input, output, optional_state };

struct Export {
  const char* name;
  std::vector<Role> arrays;       // in the order of the parameters, as all below
  std::vector<Scalars> settings;  // that succeed; the first is the typical one
  std::vector<Scalars> live;      // that threads which play sound may call, as large as is promised
  std::vector<Scalars> large;     // whose scratch memory exceeds a stack's; empty where there is none
  std::vector<int> key_step;      // added to the typical scalars to request new tables; empty without a cache
  std::vector<int> statuses;      // that are documented
  Extent (*extent)(const Scalars&);
  std::function<int(std::span<void* const> arrays, const Scalars&)> call;

  bool UsesCache() const { return !key_step.empty(); }
  bool Documents(int status) const { return std::find(statuses.begin(), statuses.end(), status) != statuses.end(); }
  // The typical scalars moved by `index` steps: each index needs tables of its own.
  Scalars FreshSettings(int index) const;
};

std::span<const Export> Exports();
const Export& FindExport(std::string_view name);
// For tests that take an export as their parameter.
std::string NameOf(const testing::TestParamInfo<Export>& info);
void PrintTo(const Export& subject, std::ostream* out);
std::string TextOf(const Scalars& scalars);

struct Placement {
  bool at_end = true;      // flush against the unmapped page after the array, or else before it
  std::size_t offset = 0;  // elements between the page and the array
  Content inputs = Content::noise;
};

// The arrays of one call, each of exactly its documented length between unmapped pages. Inputs hold noise, outputs a
// sentinel.
class CallArrays {
 public:
  static constexpr double kMaxLength = 1 << 24;

  // Allocates and fills the arrays; false if they would be too large.
  bool Prepare(const Export& subject, const Scalars& scalars, Placement placement = {});
  std::span<void* const> Pointers() const { return pointers_; }
  void SetNull(std::size_t index) { pointers_[index] = nullptr; }

  int Call(const Scalars& scalars) const { return subject_->call(pointers_, scalars); }
  // Checks what holds for every call: a documented status, inputs unchanged, outputs too if it failed.
  int CheckedCall(const Scalars& scalars) const;

  // Whether all inputs, and the memory around all arrays, are unchanged.
  bool AreInputsIntact() const;
  bool AreOutputsIntact() const;
  // The bits of all output elements, floats with NaNs made equal.
  std::vector<std::uint32_t> OutputBits() const;

 private:
  struct Array {
    Role role;
    std::size_t length;
    float* first;
    std::size_t offset;
    bool at_end;
    Content content;
  };
  float* Gap(const Array& array) const {
    return array.at_end ? array.first + array.length : array.first - array.offset;
  }

  const Export* subject_ = nullptr;
  std::vector<Array> arrays_;
  std::vector<void*> pointers_;
  std::vector<std::unique_ptr<Support::GuardedBuffer>> memory_;
};

}  // namespace kelvo::Reliability
