// The results as Markdown.
#include "tables.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

namespace kelvo::Bench {
namespace {

std::string Text(const char* format, double value) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

std::string TimeText(double nanoseconds) {
  if (nanoseconds < 1e3) return Text("%.0f ns", nanoseconds);
  return nanoseconds < 1e6 ? Text("%.1f µs", nanoseconds / 1e3) : Text("%.2f ms", nanoseconds / 1e6);
}

// A ratio that reads 1.00 is a tie.
bool IsBehind(const ContestantResult& peer) { return peer.ratio.median < 0.995; }

// The fastest contestant other than ours; null if none agreed.
const ContestantResult* BestPeer(const RowResult& row) {
  const ContestantResult* best = nullptr;
  for (const ContestantResult& result : std::span(row.results).subspan(1)) {
    if (result.agrees && !result.is_bound && (!best || result.nanoseconds < best->nanoseconds)) best = &result;
  }
  return best;
}

std::string OthersText(const RowResult& row, const ContestantResult* best) {
  std::string text;
  for (const ContestantResult& result : std::span(row.results).subspan(1)) {
    if (&result == best) continue;
    if (!text.empty()) text += ", ";
    text += result.name + (result.agrees ? Text(" %.2f", result.ratio.median)
                                         : Text(" differs (%.0f dB) and was not timed", result.snr_db));
  }
  return text;
}

void WriteRow(std::ostream& out, const RowResult& row) {
  const ContestantResult* best = BestPeer(row);
  out << "| " << row.row.name << " | " << TimeText(row.results[0].nanoseconds) << " | ";
  if (best) {
    const Spread& ratio = best->ratio;
    const char* mark = IsBehind(*best) ? " **behind**" : ratio.median < row.row.goal ? " (below goal)" : "";
    out << best->name << " | " << Text("%.2f", ratio.median) << mark << " | " << Text("%.2f", ratio.low) << " to "
        << Text("%.2f", ratio.high);
  } else {
    out << "none | | ";
  }
  out << " | " << (row.row.goal > 0.0 ? Text("%.3g", row.row.goal) : "") << " | " << OthersText(row, best) << " |\n";
}

}  // namespace

void WriteTables(std::ostream& out, std::span<const RowResult> rows) {
  std::vector<std::string> behind;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i].row;
    if (i == 0 || row.section != rows[i - 1].row.section) {
      out << "\n### " << row.section << "\n\n"
          << "| job | ours | best peer | ratio | middle half | goal | others |\n"
          << "|---|---|---|---|---|---|---|\n";
    }
    WriteRow(out, rows[i]);
    const ContestantResult* best = BestPeer(rows[i]);
    if (best && IsBehind(*best)) {
      behind.push_back(row.section + ", " + row.name + ": " + Text("%.2f", best->ratio.median) + " of " + best->name);
    }
  }
  out << "\n### Rows that are behind\n\n";
  for (const std::string& line : behind) out << "- " << line << "\n";
  if (behind.empty()) out << "None.\n";
}

}  // namespace kelvo::Bench
