// The picture: a waveform strip above a log-mel spectrogram, on one time axis.
#include "picture.h"

#include <cairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>

#include "failure.h"

namespace log_mel {
namespace {

struct Box {
  double left, top, width, height;
  double Bottom() const { return top + height; }
  double Right() const { return left + width; }
};

// All lengths are pixels. Each mel band is kBandHeight high, so no band is blurred into another.
constexpr int kBandHeight = 5;
constexpr int kPlotWidth = 840;
constexpr Box kStrip{76, 46, kPlotWidth, 80};
constexpr Box kPlot{76, 142, kPlotWidth, kMelN* kBandHeight};
constexpr Box kLegend{940, 142, 18, kMelN* kBandHeight};
constexpr int kWidth = 1024;
constexpr int kHeight = 600;
constexpr double kFontSize = 13;

struct Colour {
  double red, green, blue;
};

constexpr Colour kInk{0.13, 0.13, 0.16};
constexpr Colour kWave{0.45, 0.45, 0.50};
constexpr Colour kMark{0.80, 0.27, 0.28};

// A perceptually uniform map from dark to light, readable in greyscale and by the colour-blind; linear between its
// tenths.
constexpr std::array<std::uint32_t, 10> kColourMap{0x000004, 0x1b0c41, 0x4a0c6b, 0x781c6d, 0xa52c60,
                                                   0xcf4446, 0xed6925, 0xfb9b06, 0xf7d13d, 0xfcffa4};

std::uint32_t ColourOf(double db) {
  const double position = std::clamp(1 + db / kTopDb, 0.0, 1.0) * (kColourMap.size() - 1);
  const auto below = std::min(static_cast<std::size_t>(position), kColourMap.size() - 2);
  const double fraction = position - static_cast<double>(below);
  std::uint32_t colour = 0;
  for (int shift = 0; shift <= 16; shift += 8) {
    const double low = (kColourMap[below] >> shift) & 0xff;
    const double high = (kColourMap[below + 1] >> shift) & 0xff;
    colour |= static_cast<std::uint32_t>(std::lround(low + fraction * (high - low))) << shift;
  }
  return colour;
}

// Slaney's mel scale, for the frequency axis.
double HzToMel(double hz) { return hz < 1000 ? hz * 3 / 200 : 15 + std::log(hz / 1000) * 27 / std::log(6.4); }

// Band m is centred on step m + 1 of kMelN + 1 equal mel steps, and drawn from row m to row m + 1.
double HeightOf(double hz) {
  const double step = (HzToMel(kMaxFrequency) - HzToMel(kMinFrequency)) / (kMelN + 1);
  const double row = (HzToMel(hz) - HzToMel(kMinFrequency)) / step - 0.5;
  // The outermost bands reach half a row further than they are drawn.
  return kPlot.Bottom() - std::clamp(row, 0.0, static_cast<double>(kMelN)) * kBandHeight;
}

struct Surface {
  explicit Surface(int width, int height) : cairo(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)) {}
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;
  ~Surface() { cairo_surface_destroy(cairo); }
  cairo_surface_t* cairo;
};

class Picture {
 public:
  Picture() : surface_(kWidth, kHeight), cairo_(cairo_create(surface_.cairo), cairo_destroy) {
    cairo_set_source_rgb(cairo(), 1, 1, 1);
    cairo_paint(cairo());
    cairo_select_font_face(cairo(), "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo(), kFontSize);
    cairo_set_line_width(cairo(), 1);
  }

  cairo_t* cairo() const { return cairo_.get(); }

  void SetColour(Colour colour) const { cairo_set_source_rgb(cairo(), colour.red, colour.green, colour.blue); }

  // `align` is the part of the text's width that lies left of x.
  void Write(double x, double y, const std::string& text, double align, Colour colour = kInk) const {
    cairo_text_extents_t extents;
    cairo_text_extents(cairo(), text.c_str(), &extents);
    SetColour(colour);
    cairo_move_to(cairo(), x - align * extents.x_advance, y + kFontSize * 0.35);
    cairo_show_text(cairo(), text.c_str());
  }

  // Ends on half pixels give lines one pixel wide.
  void Line(double x0, double y0, double x1, double y1, Colour colour) const {
    SetColour(colour);
    cairo_move_to(cairo(), std::floor(x0) + 0.5, std::floor(y0) + 0.5);
    cairo_line_to(cairo(), std::floor(x1) + 0.5, std::floor(y1) + 0.5);
    cairo_stroke(cairo());
  }

  void Frame(const Box& box) const {
    SetColour(kInk);
    cairo_rectangle(cairo(), box.left - 0.5, box.top - 0.5, box.width + 1, box.height + 1);
    cairo_stroke(cairo());
  }

  // An image of one colour per pixel; colour(column, row) counts rows from the top.
  template <class ColourAt>
  void Fill(const Box& box, ColourAt&& colour) const {
    const auto width = static_cast<int>(box.width);
    const auto height = static_cast<int>(box.height);
    const Surface image(width, height);
    if (unsigned char* const pixels = cairo_image_surface_get_data(image.cairo)) {
      const int stride = cairo_image_surface_get_stride(image.cairo);
      for (int y = 0; y < height; ++y) {
        auto* const row = reinterpret_cast<std::uint32_t*>(pixels + static_cast<std::ptrdiff_t>(y) * stride);
        for (int x = 0; x < width; ++x) row[x] = colour(x, y);
      }
      cairo_surface_mark_dirty(image.cairo);
    }
    cairo_set_source_surface(cairo(), image.cairo, box.left, box.top);
    cairo_paint(cairo());
  }

  void WriteTo(const std::filesystem::path& path) const {
    cairo_status_t status = cairo_status(cairo());
    if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_write_to_png(surface_.cairo, path.c_str());
    if (status != CAIRO_STATUS_SUCCESS) throw Failure(path.string() + ": " + cairo_status_to_string(status));
  }

 private:
  Surface surface_;
  std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo_;
};

// The range [first, last) of `count` items that pixel column x of the plot shows: at least one.
std::pair<std::size_t, std::size_t> ShownAt(int x, double from, double per_pixel, std::size_t count) {
  const auto index = [&](double value) {
    return static_cast<std::size_t>(std::clamp(value, 0.0, static_cast<double>(count - 1)));
  };
  const std::size_t first = index(from + x * per_pixel);
  return {first, std::max(first + 1, index(from + (x + 1) * per_pixel))};
}

void DrawWaveform(const Picture& picture, const PictureContent& content) {
  const auto per_pixel = static_cast<double>(content.samples.size()) / kStrip.width;
  float peak = 0;
  for (const float sample : content.samples) peak = std::max(peak, std::abs(sample));
  const double scale = peak > 0 ? 0.46 * kStrip.height / static_cast<double>(peak) : 0;
  const double middle = kStrip.top + kStrip.height / 2;

  const auto to_x = [&](int sample) { return kStrip.left + sample / per_pixel; };
  const double start = to_x(content.non_silent.start);
  const double end = to_x(content.non_silent.start + content.non_silent.length);
  if (content.non_silent.length > 0) {
    cairo_set_source_rgba(picture.cairo(), kMark.red, kMark.green, kMark.blue, 0.12);
    cairo_rectangle(picture.cairo(), start, kStrip.top, end - start, kStrip.height);
    cairo_fill(picture.cairo());
  }
  for (int x = 0; x < kPlotWidth; ++x) {
    const auto [first, last] = ShownAt(x, 0, per_pixel, content.samples.size());
    const auto [low, high] = std::ranges::minmax(content.samples.subspan(first, last - first));
    picture.Line(kStrip.left + x, middle - scale * static_cast<double>(high), kStrip.left + x,
                 middle - scale * static_cast<double>(low) + 1, kWave);
  }
  if (content.non_silent.length > 0) {
    picture.Line(start, kStrip.top, start, kStrip.Bottom() - 1, kMark);
    picture.Line(end - 1, kStrip.top, end - 1, kStrip.Bottom() - 1, kMark);
    picture.Write(kStrip.Right() + 9, kStrip.top + kStrip.height / 2, "not silent", 0, kMark);
  }
  picture.Frame(kStrip);
}

void DrawSpectrogram(const Picture& picture, const PictureContent& content) {
  const auto frame_n = static_cast<std::size_t>(content.log_mel.frame_n);
  const double frames_per_pixel = static_cast<double>(content.samples.size()) / kHopN / kPlot.width;
  picture.Fill(kPlot, [&](int x, int y) {
    const auto band = static_cast<std::size_t>(kMelN - 1 - y / kBandHeight);
    // Frame t is centred on sample t * kHopN. Where a pixel shows several frames, it shows the loudest.
    const auto [first, last] = ShownAt(x, 0.5, frames_per_pixel, frame_n);
    const auto row = std::span(content.log_mel.db).subspan(band * frame_n, frame_n);
    return ColourOf(static_cast<double>(std::ranges::max(row.subspan(first, last - first))));
  });
  picture.Frame(kPlot);
}

void DrawFrequencyAxis(const Picture& picture) {
  for (const int hz : {250, 500, 1000, 1500, 2000, 3000, 4000, 6000, 8000}) {
    picture.Line(kPlot.left - 6, HeightOf(hz), kPlot.left - 1, HeightOf(hz), kInk);
    picture.Write(kPlot.left - 9, HeightOf(hz), std::to_string(hz), 1);
  }
  cairo_save(picture.cairo());
  cairo_translate(picture.cairo(), 20, kPlot.top + kPlot.height / 2);
  cairo_rotate(picture.cairo(), -M_PI / 2);
  picture.Write(0, 0, "frequency in Hz (mel scale)", 0.5);
  cairo_restore(picture.cairo());
}

void DrawTimeAxis(const Picture& picture, double duration) {
  // The smallest of 1, 2, 5, 10, 20 ... hundredths of a second that leaves at most 12 labels.
  double step = 0.01;
  for (int i = 0; duration / step > 12; ++i) step *= i % 3 == 1 ? 2.5 : 2;
  for (int i = 0; i * step <= duration; ++i) {
    const double x = std::min(kPlot.left + i * step / duration * kPlot.width, kPlot.Right() - 1);
    picture.Line(x, kPlot.Bottom(), x, kPlot.Bottom() + 5, kInk);
    std::array<char, 32> label{};
    std::snprintf(label.data(), label.size(), "%.*f", step < 0.1 ? 2 : step < 1 ? 1 : 0, i * step);
    picture.Write(x, kPlot.Bottom() + 15, label.data(), 0.5);
  }
  picture.Write(kPlot.left + kPlot.width / 2, kPlot.Bottom() + 37, "time in s", 0.5);
}

void DrawLegend(const Picture& picture) {
  const auto db_at = [](double y) { return -kTopDb * y / kLegend.height; };
  picture.Fill(kLegend, [&](int, int y) { return ColourOf(db_at(y + 0.5)); });
  picture.Frame(kLegend);
  for (int db = 0; db >= -kTopDb; db -= 10) {
    const double y = std::min(kLegend.top - db * kLegend.height / kTopDb, kLegend.Bottom() - 1);
    picture.Line(kLegend.Right(), y, kLegend.Right() + 5, y, kInk);
    picture.Write(kLegend.Right() + 9, y, std::to_string(db), 0);
  }
  picture.Write(kLegend.left + kLegend.width / 2, kLegend.top - 16, "dB", 0.5);
}

}  // namespace

void WritePng(const std::filesystem::path& path, const PictureContent& content) {
  const Picture picture;
  picture.Write(kStrip.left, 24, content.title, 0);
  picture.Write(kStrip.left - 9, kStrip.top + kStrip.height / 2, "signal", 1);
  DrawWaveform(picture, content);
  DrawSpectrogram(picture, content);
  DrawFrequencyAxis(picture);
  DrawTimeAxis(picture, static_cast<double>(content.samples.size()) / kSampleRate);
  DrawLegend(picture);
  picture.WriteTo(path);
}

}  // namespace log_mel
