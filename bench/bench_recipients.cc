// Prints, for each work, our time, SQLite's time for the same work in the same run, and the ratio:
//   name <tab> ours <tab> peer <tab> ratio <tab> target
//
//   bench_recipients [--rows N] [--pvgroup PROGRAM] [--ops name,name] [--folder DIR] [--ours-only]
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>

#include "pvgroupman/automation/error.h"
#include "sides.h"

namespace pv::bench {
namespace {

struct Options {
  std::uint32_t rows = 1'000'000;
  std::string pvgroup;
  std::string folder;
  std::string ops;
  bool ours_only = false;

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
  }
  std::fflush(stdout);
}

// Runs a program with its output thrown away; its seconds, or a negative number when it failed.
double TimeProgram(const std::vector<std::string>& arguments) {
  const double start = Seconds();
  const pid_t pid = fork();
  if (pid == 0) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(126);
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

// Peak resident memory of a child process that does the work, in KiB; beyond what it had before.
long PeakOf(const std::function<void()>& work) {
  const pid_t pid = fork();
  if (pid == 0) {
    work();
    _exit(0);
  }
  rusage usage{};
  int status = 0;
  wait4(pid, &status, 0, &usage);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? usage.ru_maxrss : -1;
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
    if (!wanted && std::string(w.name) != "append") continue;
    const double a = w.run(*ours);
    const double b = o.ours_only ? 0 : w.run(*peer);
    if (wanted) Print(w.name, a, b, w.per, w.target);
  }
  if (o.Wants("memory")) {
    const long before = PeakOf([] {});
    const long natural = PeakOf([&] { ours->WalkNaturally(rows); });
    const long by_email = PeakOf([&] { ours->WalkByEmail(rows); });
    std::printf(
        "# peak memory of a walk, KiB: natural %ld, by address %ld (the program itself %ld)\n",
        natural, by_email, before);
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
  if (o.Wants("import") && !o.pvgroup.empty()) {
    const std::string csv = folder + "/rows.csv";
    rows.WriteCsv(csv);
    const double b = o.ours_only ? 0 : ImportIntoSqlite(csv, folder);
    const double a = TimeProgram({o.pvgroup, "--data", folder + "/groups", "import", "bench", csv});
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
    } else if (argument == "--ours-only") {
      options.ours_only = true;
    } else {
      std::fprintf(stderr, "%s: what is %s?\n", argv[0], argument.c_str());
      return 2;
    }
  }
  try {
    return pv::bench::Main(options);
  } catch (const pv::automation::Error& e) {
    std::fprintf(stderr, "ours: %s\n", e.description().c_str());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
