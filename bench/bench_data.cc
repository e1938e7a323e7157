#include "bench_data.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <numeric>
#include <random>

#include "base/date.h"

namespace pv::bench {
namespace {

bool processor_time = false;

constexpr const char* kFirst[] = {"Anna", "Bert", "Clara", "Dmitri", "Eve", "Farid", "Gil"};
constexpr const char* kLast[] = {"Smith", "Garcia", "Haddad", "Nilsson", "Oduya", "Petrov"};
constexpr const char* kCompany[] = {"Northwind Traders", "Blue Sky Ltd", "Cascade Coffee Roasters",
                                    "Delice et Fils"};
// Rows made at once: enough that starting and stopping the clock costs nothing.
constexpr std::uint32_t kBlock = 10'000;

constexpr const char* kCity[] = {"Hamburg", "Lisbon", "Oslo", "Nairobi", "Kyoto"};

}  // namespace

std::uint32_t Rows::IdOf(std::uint32_t i) const {
  if (order_.empty()) {
    order_.resize(size_);
    std::iota(order_.begin(), order_.end(), 0U);
    std::shuffle(order_.begin(), order_.end(), std::mt19937(20240229));
  }
  return order_[i];
}

std::string Rows::Email(std::uint32_t i) const {
  const std::uint32_t id = IdOf(i);
  char text[64];
  const int size = std::snprintf(text, sizeof text, "%s.%s%07u@example%u.org", kFirst[id % 7],
                                 kLast[id % 6], id, id % 997);
  return {text, static_cast<std::size_t>(size)};
}

Row Rows::At(std::uint32_t i) const {
  const std::uint32_t id = IdOf(i);
  return {Email(i),
          kFirst[id % 7],
          kLast[id % 6],
          kCompany[id % 4],
          kCity[id % 5],
          static_cast<std::int32_t>(2'451'545 + id % 9000),
          36'526.0 + id % 9000,
          id % 1'000'000 / 100.0,
          id % 3 != 0};
}

void Rows::WriteCsv(const std::string& path) const {
  std::FILE* const out = std::fopen(path.c_str(), "w");
  if (out == nullptr) return;
  std::fputs("Email,First,Last,Company,City,Joined,Score,Active\n", out);
  for (std::uint32_t i = 0; i < size(); ++i) {
    const Row r = At(i);
    const CivilDate d = *DateFromJulian(r.julian);
    std::fprintf(out, "%s,%s,%s,%s,%s,%04d-%02d-%02d,%.2f,%s\n", r.email.c_str(), r.first.c_str(),
                 r.last.c_str(), r.company.c_str(), r.city.c_str(), d.year, d.month, d.day, r.score,
                 r.active ? "true" : "false");
  }
  std::fclose(out);
}

double Seconds() {
  if (!processor_time) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
  }
  timespec own{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
  rusage children{};
  getrusage(RUSAGE_CHILDREN, &children);
  const auto in_seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return static_cast<double>(own.tv_sec) + static_cast<double>(own.tv_nsec) / 1e9 +
         in_seconds(children.ru_utime) + in_seconds(children.ru_stime);
}

void CountProcessorTime() { processor_time = true; }

// Out of line, so that its name can be found.
__attribute__((noinline)) double Timed(const std::function<void()>& work) {
  const double start = Seconds();
  work();
  return Seconds() - start;
}

double TimedRows(const Rows& rows, std::uint32_t count, const std::string& email_prefix,
                 const std::function<void(const Row&)>& store,
                 const std::function<void()>& finish) {
  double spent = 0;
  std::vector<Row> block;
  for (std::uint32_t first = 0; first < count; first += kBlock) {
    block.clear();
    for (std::uint32_t i = first; i < std::min(count, first + kBlock); ++i) {
      block.push_back(rows.At(i));
      block.back().email.insert(0, email_prefix);
    }
    spent += Timed([&] {
      for (const Row& row : block) store(row);
    });
  }
  if (finish) spent += Timed(finish);
  return spent;
}

std::vector<std::string> RandomEmails(const Rows& rows, std::uint32_t count) {
  std::vector<std::string> emails;
  emails.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    emails.push_back(rows.Email(static_cast<std::uint32_t>(std::uint64_t{i} * 7919 % rows.size())));
  }
  return emails;
}

}  // namespace pv::bench
