// The recipients that both sides of the benchmark store, and a clock.
#ifndef PV_BENCH_BENCH_DATA_H_
#define PV_BENCH_BENCH_DATA_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace pv::bench {

struct Row {
  std::string email, first, last, company, city;
  std::int32_t julian;  // Joined
  double joined;        // the same as a date of the automation classes
  double score;
  bool active;
};

// Row number `i` of `n`, made anew each time: addresses come in random order and are different.
class Rows {
 public:
  explicit Rows(std::uint32_t n) : size_(n) {}
  std::uint32_t size() const { return size_; }
  Row At(std::uint32_t i) const;
  std::string Email(std::uint32_t i) const;
  // Writes them as a CSV file with a heading.
  void WriteCsv(const std::string& path) const;

 private:
  std::uint32_t IdOf(std::uint32_t i) const;

  std::uint32_t size_;
  mutable std::vector<std::uint32_t> order_;  // made when first asked for
};

double Seconds();  // of a clock that never goes back

// From now on Seconds() counts those that this program and its ended children kept a processor
// busy: other work on the machine changes them less.
void CountProcessorTime();

// Seconds that the work takes. `bench/count` counts the instructions in here, and nothing else.
double Timed(const std::function<void()>& work);

// Seconds of storing `count` rows, made in blocks between the timed parts: making them is not what
// is measured. `finish` belongs to the work, and may be null.
double TimedRows(const Rows& rows, std::uint32_t count, const std::string& email_prefix,
                 const std::function<void(const Row&)>& store, const std::function<void()>& finish);

// Addresses of `count` rows all over the table.
std::vector<std::string> RandomEmails(const Rows& rows, std::uint32_t count);

}  // namespace pv::bench

#endif  // PV_BENCH_BENCH_DATA_H_
