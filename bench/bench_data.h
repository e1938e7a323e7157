// The recipients that both sides of the benchmark store, and a clock.
#ifndef PV_BENCH_BENCH_DATA_H_
#define PV_BENCH_BENCH_DATA_H_

#include <cstdint>
#include <string>
#include <vector>

namespace pv::bench {

struct Row {
  std::string email, first, last, company, city;
  std::int32_t julian;  // Joined
  double score;
  bool active;
};

// Row number `i` of `n`, made anew each time: addresses come in random order and are different.
class Rows {
 public:
  explicit Rows(std::uint32_t n);
  std::uint32_t size() const { return static_cast<std::uint32_t>(order_.size()); }
  Row At(std::uint32_t i) const;
  std::string Email(std::uint32_t i) const;
  // Writes them as a CSV file with a heading.
  void WriteCsv(const std::string& path) const;

 private:
  std::vector<std::uint32_t> order_;
};

double Seconds();  // of a clock that never goes back

}  // namespace pv::bench

#endif  // PV_BENCH_BENCH_DATA_H_
