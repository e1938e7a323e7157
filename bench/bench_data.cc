#include "bench_data.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <random>

#include "base/date.h"

namespace pv::bench {
namespace {

constexpr const char* kFirst[] = {"Anna", "Bert", "Clara", "Dmitri", "Eve", "Farid", "Gil"};
constexpr const char* kLast[] = {"Smith", "Garcia", "Haddad", "Nilsson", "Oduya", "Petrov"};
constexpr const char* kCompany[] = {"Northwind Traders", "Blue Sky Ltd", "Cascade Coffee Roasters",
                                    "Delice et Fils"};
constexpr const char* kCity[] = {"Hamburg", "Lisbon", "Oslo", "Nairobi", "Kyoto"};

}  // namespace

Rows::Rows(std::uint32_t n) : order_(n) {
  std::iota(order_.begin(), order_.end(), 0U);
  std::shuffle(order_.begin(), order_.end(), std::mt19937(20240229));
}

std::string Rows::Email(std::uint32_t i) const {
  const std::uint32_t id = order_[i];
  char text[64];
  const int size = std::snprintf(text, sizeof text, "%s.%s%07u@example%u.org", kFirst[id % 7],
                                 kLast[id % 6], id, id % 997);
  return {text, static_cast<std::size_t>(size)};
}

Row Rows::At(std::uint32_t i) const {
  const std::uint32_t id = order_[i];
  return {Email(i),
          kFirst[id % 7],
          kLast[id % 6],
          kCompany[id % 4],
          kCity[id % 5],
          static_cast<std::int32_t>(2'451'545 + id % 9000),
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
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace pv::bench
