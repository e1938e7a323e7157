#ifndef PV_BENCH_SIDES_H_
#define PV_BENCH_SIDES_H_

#include <memory>

#include "works.h"

namespace pv::bench {

std::unique_ptr<Side> MakeOurs(const std::string& folder);
std::unique_ptr<Side> MakeSqlite(const std::string& folder);

}  // namespace pv::bench

#endif  // PV_BENCH_SIDES_H_
