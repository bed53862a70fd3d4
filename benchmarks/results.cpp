#include "results.h"

#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

#include <algorithm>
#include <fstream>

#include "bench.h"

namespace bench {

namespace {

std::string Format(char const* format, double number) {
  char text[64];
  snprintf(text, sizeof text, format, number);
  return text;
}

std::string Time(double nanoseconds) {
  if (nanoseconds < 999.5) return Format("%.3g ns", nanoseconds);
  if (nanoseconds < 999.5e3) return Format("%.3g us", nanoseconds / 1e3);
  return Format("%.3g ms", nanoseconds / 1e6);
}

// ---- tables

using Cells = std::vector<std::string>;

/// A row for each name; results of several sizes share one.
Cells MakeRow(Result const* first, Result const* last) {
  Cells cells = {first->name};
  if (first->table == GROWTH) {
    for (Result const* r = first; r < last; ++r) {
      cells.push_back(ShortNumber(static_cast<size_t>(r->size)) + ": " + Time(r->nanoseconds));
    }
    double const factor = (last - 1)->nanoseconds / first->nanoseconds;
    cells.resize(4);
    cells.push_back(Format("%.2f", factor) +
                    (factor > first->allowed ? Format(" (over %.0f)", first->allowed) : ""));
  } else if (first->table == THREADS) {
    for (Result const* r = first; r < last; ++r) {
      cells.push_back(Time(r->nanoseconds) + (r == first ? "" : Format(" (%.2f)", r->ratio)));
    }
  } else {
    cells.push_back(Time(first->nanoseconds));
    cells.push_back(Format("%.2f", first->ratio) + " x " + first->reference);
  }
  return cells;
}

Cells MakeHead(std::string const& table) {
  if (table == GROWTH) return {"growth: time of an item", "few", "more", "most", "factor"};
  if (table == THREADS) return {"threads: time of the whole (gain)", "1", "2", "4"};
  return {table, "an item", "ratio"};
}

std::string Render(std::vector<Cells> const& rows, Style style) {
  Cells const& head = rows[0];
  std::vector<size_t> widths(head.size());
  for (Cells const& row : rows) {
    for (size_t i = 0; i < row.size() && i < widths.size(); ++i)
      widths[i] = std::max(widths[i], row[i].size());
  }
  bool const isMarkdown = style == Style::MARKDOWN;
  std::string text;
  for (Cells const& row : rows) {
    std::string line = isMarkdown ? "|" : "";
    for (size_t i = 0; i < widths.size(); ++i) {
      std::string const cell = i < row.size() ? row[i] : "";
      line += (isMarkdown ? " " : "  ") + cell + std::string(widths[i] - cell.size(), ' ') +
              (isMarkdown ? " |" : "");
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    if (&row != &head || !isMarkdown) continue;
    for (size_t i = 0; i < widths.size(); ++i) text += "|---";
    text += "|\n";
  }
  return text + "\n";
}

// ---- the file: one result in each line, whose names have neither quotes nor backslashes

std::string ToLine(Result const& result) {
  char text[600];
  snprintf(text, sizeof text,
           "{\"table\": \"%s\", \"name\": \"%s\", \"size\": %.0f, \"ns\": %.6g, \"reference\": \"%s\", "
           "\"ratio\": %.6g, \"allowed\": %.0f}",
           result.table.c_str(), result.name.c_str(), result.size, result.nanoseconds,
           result.reference.c_str(), result.ratio, result.allowed);
  return text;
}

std::string Field(std::string const& line, char const* name) {
  std::string const key = std::string("\"") + name + "\": ";
  size_t const found = line.find(key);
  if (found == std::string::npos) return {};
  size_t const from = found + key.size();
  return line[from] == '"' ? line.substr(from + 1, line.find('"', from + 1) - from - 1)
                           : line.substr(from, line.find_first_of(",}", from) - from);
}

double Number(std::string const& line, char const* name) { return atof(Field(line, name).c_str()); }

}  // namespace

std::string ShortNumber(size_t number) {
  constexpr std::pair<size_t, char> UNITS[] = {{1 << 20, 'M'}, {1000000, 'M'}, {1000, 'k'}};
  for (auto const& [unit, letter] : UNITS) {
    if (number >= unit && number % unit == 0) return std::to_string(number / unit) + letter;
  }
  return std::to_string(number);
}

std::string DescribeMachine() {
  char name[200] = "an unknown processor";
  DWORD size = sizeof name;
  RegGetValueA(HKEY_LOCAL_MACHINE, "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0",
               "ProcessorNameString", RRF_RT_REG_SZ, nullptr, name, &size);
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  bool const isWine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
  return std::string(name) + ", " + std::to_string(info.dwNumberOfProcessors) + " processors, " +
         (isWine ? "Wine" : "Windows");
}

std::string Tabulate(Results const& results, Style style) {
  std::string text;
  std::vector<Cells> rows;
  Result const* const end = results.data() + results.size();
  for (Result const* first = results.data(); first < end;) {
    Result const* last = first;
    while (last < end && last->name == first->name && last->table == first->table) ++last;
    if (rows.empty()) rows.push_back(MakeHead(first->table));
    rows.push_back(MakeRow(first, last));
    if (last == end || last->table != first->table) {
      text += Render(rows, style);
      rows.clear();
    }
    first = last;
  }
  return text;
}

bool Write(Results const& results, std::string const& path) {
  std::ofstream file(path);
  file << "{\"machine\": \"" << DescribeMachine() << "\",\n \"results\": [\n";
  for (size_t i = 0; i < results.size(); ++i) {
    file << ToLine(results[i]) << (i + 1 < results.size() ? ",\n" : "\n]}\n");
  }
  return file.good();
}

bool Read(std::string const& path, Results& results) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("{\"table\"")) continue;
    results.push_back({Field(line, "table"), Field(line, "name"), Field(line, "reference"),
                       Number(line, "size"), Number(line, "ns"), Number(line, "ratio"),
                       Number(line, "allowed")});
  }
  return !results.empty();
}

Result const* FindSame(Results const& earlier, Result const& result) {
  for (Result const& old : earlier) {
    if (old.table == result.table && old.name == result.name && old.size == result.size) return &old;
  }
  return nullptr;
}

}  // namespace bench
