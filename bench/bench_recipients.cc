// Prints, for each work, our time, SQLite's time for the same work in the same run, and the ratio:
//   name <tab> ours <tab> peer <tab> ratio <tab> target
// and "# MISSED <name>" below a ratio that passes its target. --reuse goes on with the rows that an
// earlier run with --folder stored. --processor-time leaves out all waiting: for the medium too,
// so that its figures only help to find what costs.
//
//   bench_recipients [--rows N] [--pvgroup PROGRAM] [--ops name,name] [--folder DIR] [--ours-only]
//                    [--reuse] [--processor-time]
//   bench_recipients --peak natural|email --rows N --folder DIR    walks, and prints what it took
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "pvgroupman/automation/error.h"
#include "sides.h"

namespace pv::bench {
namespace {

struct Options {
  std::uint32_t rows = 1'000'000;
  std::string pvgroup;
  std::string folder;
  std::string ops;
  std::string peak;
  std::string self;
  bool ours_only = false;
  bool reuse = false;

  bool Wants(const std::string& name) const {
    return ops.empty() || ("," + ops + ",").find("," + name + ",") != std::string::npos;
  }
};

std::string Amount(double seconds, std::uint32_t per) {
  char text[64];
  if (per <= 1) {
    std::snprintf(text, sizeof text, "%.3f s", seconds);
  } else {
    std::snprintf(text, sizeof text, "%.3f us", seconds / per * 1e6);
  }
  return text;
}

void Print(const char* name, double ours, double peer, std::uint32_t per, double target) {
  if (peer <= 0) {
    std::printf("%s\t%s\t-\t-\t%.2f\n", name, Amount(ours, per).c_str(), target);
  } else {
    std::printf("%s\t%s\t%s\t%.2f\t%.2f\n", name, Amount(ours, per).c_str(),
                Amount(peer, per).c_str(), ours / peer, target);
    if (ours / peer > target) std::printf("# MISSED %s\n", name);
  }
  std::fflush(stdout);
}

// Runs a program; its seconds, or a negative number when it failed.
double Run(const std::vector<std::string>& arguments, bool show_output) {
  std::fflush(stdout);
  const double start = Seconds();
  const pid_t pid = fork();
  if (pid == 0) {
    if (!show_output && std::freopen("/dev/null", "w", stdout) == nullptr) _exit(126);
    std::vector<char*> raw;
    for (const std::string& a : arguments) raw.push_back(const_cast<char*>(a.c_str()));
    raw.push_back(nullptr);
    execv(raw[0], raw.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  const double spent = Seconds() - start;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? spent : -1;
}

// What "/proc/self/status" says of this process in KiB; -1 where there is no such line.
long StatusKib(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) return std::atol(line.c_str() + name.size() + 1);
  }
  return -1;
}

// In a process of its own, so that what the other works took does not count.
int PrintPeak(const Options& o) {
  const Rows rows(o.rows);
  auto ours = MakeOurs(o.folder);
  if (o.peak == "natural") {
    ours->WalkNaturally(rows);
  } else {
    ours->WalkByEmail(rows);
  }
  std::printf("# peak memory of a walk (%s), all of the program and what it maps: %.1f MiB\n",
              o.peak.c_str(), static_cast<double>(StatusKib("VmHWM")) / 1024);
  return 0;
}

int Main(const Options& o) {
  std::string made = (std::filesystem::temp_directory_path() / "pv-bench-XXXXXX").string();
  if (o.folder.empty() && mkdtemp(made.data()) == nullptr) return 1;
  const std::string folder = o.folder.empty() ? made : o.folder;
  std::filesystem::create_directories(folder);
  const Rows rows(o.rows);
  const std::uint32_t seeks = std::min<std::uint32_t>(o.rows, 200'000);
  const std::uint32_t appends = std::min<std::uint32_t>(o.rows, 100'000);
  auto ours = MakeOurs(folder);
  auto peer = MakeSqlite(folder);
  std::printf("# %u rows\n# name\tours\tpeer\tratio\ttarget\n", o.rows);

  struct Work {
    const char* name;
    std::function<double(Side&)> run;
    std::uint32_t per;
    double target;
  };
  const Work works[] = {
      {"append", [&](Side& s) { return s.AppendAll(rows); }, 1, 0.5},
      {"seek-shared", [&](Side& s) { return s.SeekShared(rows, seeks); }, seeks, 0.5},
      {"seek-exclusive", [&](Side& s) { return s.SeekExclusive(rows, seeks); }, seeks, 0.2},
      {"walk-email", [&](Side& s) { return s.WalkByEmail(rows); }, 1, 0.3},
      {"walk-natural", [&](Side& s) { return s.WalkNaturally(rows); }, 1, 1.0},
  };
  for (const Work& w : works) {
    // The later works need the rows that the first one stores.
    const bool wanted = o.Wants(w.name);
    if (!wanted && (o.reuse || std::string(w.name) != "append")) continue;
    const double a = w.run(*ours);
    const double b = o.ours_only ? 0 : w.run(*peer);
    if (wanted) Print(w.name, a, b, w.per, w.target);
  }
  if (o.Wants("memory")) {
    for (const char* const walk : {"natural", "email"}) {
      const std::string rows_text = std::to_string(o.rows);
      if (Run({o.self, "--peak", walk, "--rows", rows_text, "--folder", folder}, true) < 0)
        return 1;
    }
    std::printf("# bytes on disk: ours %llu, peer %llu\n",
                static_cast<unsigned long long>(ours->BytesOnDisk()),
                static_cast<unsigned long long>(o.ours_only ? 0 : peer->BytesOnDisk()));
  }
  const Work later[] = {
      {"append-shared", [&](Side& s) { return s.AppendShared(rows, appends); }, appends, 0.6},
      {"compact", [&](Side& s) { return s.Compact(rows); }, 1, 1.0},
  };
  for (const Work& w : later) {
    if (!o.Wants(w.name)) continue;
    const double a = w.run(*ours);
    Print(w.name, a, o.ours_only ? 0 : w.run(*peer), w.per, w.target);
  }
  const std::string csv = folder + "/rows.csv";
  if (o.Wants("csv") || o.Wants("import")) rows.WriteCsv(csv);
  if (o.Wants("import") && !o.pvgroup.empty()) {
    const double b = o.ours_only ? 0 : ImportIntoSqlite(csv, folder);
    const double a = Run({o.pvgroup, "--data", folder + "/groups", "import", "bench", csv}, false);
    if (a < 0) {
      std::fprintf(stderr, "pvgroup import failed\n");
      return 1;
    }
    Print("import", a, b, 1, 0.35);
  }
  if (o.folder.empty()) std::filesystem::remove_all(folder);
  return 0;
}

}  // namespace
}  // namespace pv::bench

int main(int argc, char** argv) {
  pv::bench::Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const bool has_value = i + 1 < argc;
    if (argument == "--rows" && has_value) {
      options.rows = static_cast<std::uint32_t>(std::strtoul(argv[++i], nullptr, 10));
    } else if (argument == "--pvgroup" && has_value) {
      options.pvgroup = argv[++i];
    } else if (argument == "--folder" && has_value) {
      options.folder = argv[++i];
    } else if (argument == "--ops" && has_value) {
      options.ops = argv[++i];
    } else if (argument == "--peak" && has_value) {
      options.peak = argv[++i];
    } else if (argument == "--reuse") {
      options.reuse = true;
    } else if (argument == "--processor-time") {
      pv::bench::CountProcessorTime();
    } else if (argument == "--ours-only") {
      options.ours_only = true;
    } else {
      std::fprintf(stderr, "%s: what is %s?\n", argv[0], argument.c_str());
      return 2;
    }
  }
  try {
    options.self = argv[0];
    return options.peak.empty() ? pv::bench::Main(options) : pv::bench::PrintPeak(options);
  } catch (const pv::automation::Error& e) {
    std::fprintf(stderr, "ours: %s\n", e.description().c_str());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
