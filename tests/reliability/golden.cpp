// The stored hashes, and how they are computed.
#include "reliability/golden.h"

#include <new>

#include "support/bits.h"

namespace kelvo::Reliability {

const std::map<std::string, std::vector<std::uint64_t>>& StoredHashes() {
  static const std::map<std::string, std::vector<std::uint64_t>> stored{
      {"Log1p", {0x096f4ac822f93e83, 0x096f4ac822f93e83}},
      {"Standardize", {0x9604eb7b3d8be35f, 0x9604eb7b3d8be35f}},
      {"FFT", {0xf7dcd9595fc748dc, 0xf7dcd9595fc748dc, 0xf7dcd9595fc748dc}},
      {"IFFT", {0xb6605e92a69ec353, 0xb6605e92a69ec353, 0xb6605e92a69ec353}},
      {"GetWindow", {0x300ded03bb4f3008, 0x35ccfec0b8a806d0}},
      {"GetFrameLen", {0x72631d22f6a686f0, 0x238345886fad0be8, 0x431111b5c83f9230}},
      {"GetSampleLen", {0xd39f850169565c90, 0x247275be173603d8}},
      {"FixFrameLen", {0x2609cc209476068c, 0x1378ddd2cfb85831}},
      {"GetSpectrogram", {0x00c085e2ae30d2c3, 0xdccb8081fa36c2e1, 0x4723b330d957f1b7, 0x0adf8bf986427b4d}},
      {"GetInverseSpectrogram",
       {0xce2c7a44dcd4d816, 0xf7a189fdad4e6851, 0x9caafa3d271a8f4e, 0xde46759c8b664b1d, 0xa995f039b98f9478}},
      {"GetNonSilentPos", {0xa30c26a80e0dcdd4, 0x99bd80e998f2fb28}},
      {"GetFBMatrix", {0x9b357b3eb7a925d4, 0x2512d006d7cbc7a2, 0xf05e33c4db366b8c}},
      {"GetMelSpectrogram", {0x4eab004dbacc25c5, 0xb3050e25bf4972ba, 0x0a0c64c4e6f79f5d}},
      {"ConvertToMel", {0xbd79cc31640937e9, 0x208b7cf829bb71d6}},
      {"ConvertPowerToDB", {0x8d996e074507dce3, 0x30eaff93f2dfc285}},
      {"ComplexNorm", {0xff9acefbd9be281f, 0x3467067c4b84af31, 0x0fdcf106f3e1162e}},
      {"MagPhase", {0x308fb71238840905, 0x680af36f5b4a8f24, 0xd4bca159138fa7f4}},
      {"LinerFilter", {0x8155808078b89949, 0xee6db00f5383672b, 0x793ab853af60d800, 0xbed8e8325950e297}},
      {"GetLinerFilterZiCoef", {0x546c3aebffcf5bdd, 0x532660ee1090ca6e}},
      {"FilterFilter",
       {0x98331173436a67f8, 0xcc735a557d18d18a, 0xaddbfc9c91dd718d, 0xbc6f65abd88e451f, 0x45e74f0d565986cb}},
      {"Resample", {0x984c7a5f97a233ff, 0x6ef3accf9e559f05, 0x9b0b7e05a3fb064b, 0xabb7d9adb706b698}},
      {"GetResampleLen", {0xf90ff7434bec4c50, 0x9eb4e0f7fc8e5ddc}}};
  return stored;
}

std::uint64_t HashOfResults(const Export& subject, const Scalars& setting) {
  constexpr double kMostOperations = 2e6;
  std::vector<int> counts{63, 64, 65, 100, 127, 128, 130, 240, 441, 512, 1000, 1009, 1024, 2048};
  for (int count = 1; count <= 34; ++count) counts.push_back(count);
  CallArrays arrays;
  std::uint64_t hash = 0;
  for (const Content inputs : {Content::noise, Content::mixed_noise}) {
    for (std::size_t i = 0; i < setting.size(); ++i) {
      // Modes stay: they select the computation.
      if (const int* const typical = std::get_if<int>(&setting[i]); typical == nullptr || *typical < 2) continue;
      Scalars scalars = setting;
      for (const int count : counts) {
        scalars[i] = count;
        if (subject.extent(scalars).operations > kMostOperations) continue;
        if (!arrays.Prepare(subject, scalars, {.inputs = inputs})) throw std::bad_alloc();
        const auto status = static_cast<std::uint64_t>(arrays.Call(scalars));
        hash = Support::Hash(arrays.OutputBits(), hash + status);
      }
    }
  }
  return hash;
}

}  // namespace kelvo::Reliability
