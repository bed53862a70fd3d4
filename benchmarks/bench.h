// The benchmarks of the library: what it promises, measured as a host uses it.
//
// A row is a piece of work beside its reference, a memcpy of as many bytes or a plain loop, which takes turns
// with it: their ratio holds on a fast and on a slow machine, and on one that others use as well. A growth
// row is the same work at several sizes, on which the time of an item should not depend. Times are processor
// time of this process, except where several threads work.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

using Work = std::function<void()>;

/// A piece of work and what it is compared with.
struct Pair {
  Work work, reference;
};

/// Adds a row. `prepare` is called once, if the row is wanted; its objects go with the functions that it
/// returns. `items` is what the work processes, and the unit of the times shown.
void AddRow(char const* table, std::string name, double items, char const* reference,
            std::function<Pair()> prepare);

/// Adds a row that is compared with a memcpy that reads and writes `bytes` in all.
void AddCopyRow(char const* table, std::string name, double items, double bytes,
                std::function<Work()> prepare);

/// Adds a growth row of three sizes. The time of an item may grow by `allowed` from the first to the last.
/// `prepare` gets the size and a place for the number of items, which is the size at first.
void AddGrowth(std::string name, double allowed, std::vector<size_t> sizes,
               std::function<Work(size_t size, double& items)> prepare);

/// Adds a row that is measured with one, two and four threads.
void AddThreads(std::string name, std::function<Work()> prepare);

// The rows, a file each.
void AddConversions();
void AddResampling();
void AddPainting();
void AddTexts();
void AddFiles();
void AddContainerGrowth();
void AddFileGrowth();

/// Keeps the compiler from removing what computes `value`.
template <class T>
void Keep(T const& value) {
#ifdef _MSC_VER
  static void const volatile* kept;
  kept = &value;
#else
  asm volatile("" : : "r"(&value) : "memory");
#endif
}

/// A repeatable sequence of numbers that look random.
class Numbers {
 public:
  explicit Numbers(uint64_t seed = 1) : state(seed * 0x9E3779B97F4A7C15u + 1) {}
  uint32_t Next() {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<uint32_t>(state >> 33);
  }
  uint32_t Below(uint32_t end) { return Next() % end; }
  /// 0.0 to 1.0
  double Unit() { return Next() / 2147483648.0; }

 private:
  uint64_t state;
};

/// "640", "10k", "2M"
std::string ShortNumber(size_t number);

}  // namespace bench
