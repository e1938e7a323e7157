// The works of the benchmark, for each side. Each returns seconds for the whole work and throws
// std::runtime_error when it did not do what was asked.
#ifndef PV_BENCH_WORKS_H_
#define PV_BENCH_WORKS_H_

#include <string>

#include "bench_data.h"

namespace pv::bench {

class Side {
 public:
  virtual ~Side() = default;
  virtual const char* name() const = 0;
  // An empty store and all rows into it, one by one, keeping the unique index.
  virtual double AppendAll(const Rows& rows) = 0;
  // `count` random existing addresses, one other field read of each.
  virtual double SeekShared(const Rows& rows, std::uint32_t count) = 0;
  virtual double SeekExclusive(const Rows& rows, std::uint32_t count) = 0;
  virtual double WalkByEmail(const Rows& rows) = 0;
  virtual double WalkNaturally(const Rows& rows) = 0;
  // `count` new rows, each visible to other processes and safe from kill -9 when its call returns.
  virtual double AppendShared(const Rows& rows, std::uint32_t count) = 0;
  // Deletes every tenth row (not timed), then compacts.
  virtual double Compact(const Rows& rows) = 0;
  virtual std::uint64_t BytesOnDisk() const = 0;
};

// The rows of `csv` into a new table in one transaction: what the import is measured against.
double ImportIntoSqlite(const std::string& csv, const std::string& folder);

}  // namespace pv::bench

#endif  // PV_BENCH_WORKS_H_
