#pragma once

#include <cstdint>
#include <initializer_list>
#include <iterator>

namespace fleet {

/// Random numbers that depend on nothing but the numbers they are made from, on every machine: SplitMix64 (Steele, Lea
/// and Flood, "Fast Splittable Pseudorandom Number Generators", 2014), and IEEE arithmetic without library functions.
class Random {
 public:
  /// Each list of numbers gives a sequence of its own.
  Random(std::initializer_list<std::uint64_t> numbers) {
    for (const std::uint64_t number : numbers) state_ = next() ^ number;
  }

  std::uint64_t next() {
    state_ += 0x9e3779b97f4a7c15;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ mixed >> 30) * 0xbf58476d1ce4e5b9;
    mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111eb;
    return mixed ^ mixed >> 31;
  }

  /// In [0, 1).
  double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }

  bool chance(double probability) { return fraction() < probability; }

  double between(double low, double high) { return low + (high - low) * fraction(); }

  /// Both ends included.
  std::int64_t whole(std::int64_t low, std::int64_t high) {
    return low + static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(high - low + 1));
  }

  /// Near the normal distribution of mean 0 and deviation 1, within 6: a sum of twelve uniform numbers.
  double bell() {
    double sum = -6;
    for (int count = 0; count < 12; ++count) sum += fraction();
    return sum;
  }

  /// A row of the table, each in proportion to its `weight`. The table has rows.
  template <typename Table>
  const auto& pick(const Table& table) {
    double sum = 0;
    for (const auto& row : table) sum += row.weight;
    double left = fraction() * sum;
    auto row = std::begin(table);
    for (left -= row->weight; left >= 0 && std::next(row) != std::end(table); left -= row->weight) ++row;
    return *row;
  }

 private:
  std::uint64_t state_ = 0;
};

}  // namespace fleet
