// The command line.
#include "options.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include "failure.h"

namespace log_mel {
namespace {

double ParseFrequency(const char* text) {
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (end == text || *end != '\0') throw WrongUsage(std::string(text) + " is not a frequency");
  return value;
}

}  // namespace

const char* const kUsage =
    "usage: log_mel [--band-pass LOW HIGH] [--output FOLDER] RECORDING\n"
    "\n"
    "Draws the log-mel spectrogram of a recording (any file that libsndfile reads) as FOLDER/NAME.png, and writes the\n"
    "recording's non-silent stretch, resynthesised from its own spectrogram, as FOLDER/NAME-resynthesised.wav.\n"
    "\n"
    "  --band-pass LOW HIGH   first keep only LOW to HIGH Hz, without any delay; writes FOLDER/NAME-band-pass.wav\n"
    "  --output FOLDER        where to write; default: here\n";

Options ParseOptions(std::span<const char* const> arguments, int sample_rate) {
  Options options;
  bool named_recording = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view argument = arguments[i];
    const auto value = [&] {
      if (++i == arguments.size()) throw WrongUsage(std::string(argument) + " needs a value");
      return arguments[i];
    };
    if (argument == "--help" || argument == "-h") {
      options.help = true;
    } else if (argument == "--output") {
      options.output_folder = value();
    } else if (argument == "--band-pass") {
      const double low = ParseFrequency(value());
      const double high = ParseFrequency(value());
      if (!(0 < low && low < high && 2 * high < sample_rate)) {
        throw WrongUsage("the band must lie between 0 and " + std::to_string(sample_rate / 2) + " Hz");
      }
      options.band_pass = Band{low, high};
    } else if (argument.starts_with("-")) {
      throw WrongUsage("unknown option " + std::string(argument));
    } else if (named_recording) {
      throw WrongUsage("more than one recording");
    } else {
      options.recording = argument;
      named_recording = true;
    }
  }
  if (!named_recording && !options.help) throw WrongUsage("no recording");
  return options;
}

}  // namespace log_mel
