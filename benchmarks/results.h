// Results: their tables, and the file of them.
#pragma once

#include <string>
#include <vector>

namespace bench {

/// One number measured: a row, a size of a growth row, or a number of threads.
struct Result {
  std::string table, name;
  std::string reference;   ///< what `ratio` relates to
  double size = 0;         ///< of a growth row, or the number of threads; otherwise 0
  double nanoseconds = 0;  ///< of an item or, with threads, of the work
  double ratio = 0;        ///< to the reference; with threads, the gain over one
  double allowed = 0;      ///< of a growth row
};

using Results = std::vector<Result>;

inline constexpr char GROWTH[] = "growth", THREADS[] = "threads";

/// The processor, and the system.
std::string DescribeMachine();

/// All tables: as text, or as Markdown.
enum class Style { TEXT, MARKDOWN };
std::string Tabulate(Results const& results, Style style);

/// A file with one result in each line. \return false when it cannot be written or read
bool Write(Results const& results, std::string const& path);
bool Read(std::string const& path, Results& results);

/// The earlier result of the same row, or null.
Result const* FindSame(Results const& earlier, Result const& result);

/// Draws the growth rows on logarithmic axes, and saves the picture as a PNG file.
bool DrawGrowth(Results const& results, std::string const& path);

}  // namespace bench
