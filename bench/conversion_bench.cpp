// Element-wise transforms and spectral conversions.
#include "jobs.h"
#include "peers/peers.h"
#include "rows.h"

namespace kelvo::Bench {
namespace {

constexpr std::size_t kValues = 80 * 1000;

}  // namespace

void AddConversionRows() {
  struct ConversionRow {
    const char* name;
    Conversion conversion;
    double goal;
  };
  for (const ConversionRow row : {ConversionRow{"standardise", Conversion::standardise, 1.0},
                                  {"power to dB", Conversion::power_to_db, 1.0},
                                  {"log1p", Conversion::log1p, 0.45},
                                  {"complex norm, power 1", Conversion::magnitude, 1.0},
                                  {"complex norm, power 2", Conversion::power, 1.0},
                                  {"complex norm, power 0.7", Conversion::other_norm, 1.5},
                                  {"magnitude and angle", Conversion::angle, 0.4},
                                  {"magnitude and unit phase", Conversion::unit_phase, 0.7}}) {
    AddRow({.section = "Conversions, 80000 values", .name = row.name, .goal = row.goal, .make_contest = [=] {
              return AgainstPeers(MakeConversion(row.conversion, kValues));
            }});
  }
}

}  // namespace kelvo::Bench
