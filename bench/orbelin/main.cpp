// orbelin_bench: the data layer's figures against baselines measured in the
// same run, one table.
//
//   orbelin_bench            every row (a few minutes)
//   orbelin_bench --quick    fewer repetitions, 300 downloads instead of 1,000
//   orbelin_bench --only 1,4 some rows (ids as --list prints them)
//   orbelin_bench --list
//
// Each row runs in a child process of its own (this program with --row ID),
// so heap readings, the process-wide hospital store and the sample service
// of one row never meet another's. Its figures come back as tab-separated
// "@figure" lines on its stdout; progress goes to stderr.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "rows.h"

namespace orbelin::bench {

const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {"1", "fetch one object by identifier (100k and 10k stored)", lookupByIdentifier},
      {"2", "Patient2Store::patient(id), 1,100 patients stored", storedPatientLookup},
      {"3", "re-import of an exported patient", reimportExport},
      {"4", "delete 10k of 100k, save, merge", deleteAndMerge},
      {"5", "first 1k saves on a fresh store", firstSaves},
      {"6", "save 100k new objects", saveMany},
      {"7", "fetch all 100k", fetchAll},
      {"8", "heap per object", memoryPerObject},
      {"9", "heap over patient downloads", downloadMemory},
      {"10", "import + save of a 4,400-object patient", importPatient},
      {"11", "getAsJSONString of that patient", exportPatient},
      {"12", "care team of 50 over loopback", careTeamDownload},
      {"13", "first-generation login import", loginImport},
      {"14", "local request to its handler", localRequest},
      {"15", "downloadPatient (local)", downloadPatientTime},
      {"16", "request over loopback", loopbackRequest},
  };
  return all;
}

}  // namespace orbelin::bench

namespace {

using orbelin::bench::Figure;
using orbelin::bench::Options;
using orbelin::bench::Row;

struct Outcome {
  const Row* row;
  std::vector<Figure> figures;
  std::string failure;
  double seconds = 0;
};

std::vector<std::string> split(const std::string& line, char separator) {
  std::vector<std::string> parts;
  std::stringstream stream(line);
  std::string part;
  while (std::getline(stream, part, separator)) parts.push_back(part);
  return parts;
}

std::string quoteForShell(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

Outcome runChild(const std::string& self, const Row& row, const Options& options) {
  Outcome outcome{&row, {}, {}, 0};
  std::string command =
      quoteForShell(self) + " --row " + row.id + (options.quick ? " --quick" : "");
  auto start = orbelin::bench::Clock::now();
  FILE* child = ::popen(command.c_str(), "r");
  if (!child) {
    outcome.failure = "could not start";
    return outcome;
  }
  char buffer[4096];
  std::string line;
  while (std::fgets(buffer, sizeof buffer, child)) {
    line += buffer;
    if (line.empty() || line.back() != '\n') continue;
    line.pop_back();
    auto fields = split(line, '\t');
    if (fields.size() == 7 && fields[0] == "@figure") {
      outcome.figures.push_back(
          {fields[1], fields[2], fields[3], std::stod(fields[4]), fields[5], fields[6]});
    } else {
      std::fprintf(stderr, "  %s\n", line.c_str());
    }
    line.clear();
  }
  int status = ::pclose(child);
  outcome.seconds = orbelin::bench::secondsSince(start);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    outcome.failure = WIFSIGNALED(status) ? "killed by signal " + std::to_string(WTERMSIG(status))
                                          : "exit " + std::to_string(WEXITSTATUS(status));
  return outcome;
}

std::string ratioText(double ratio) {
  if (ratio <= 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, ratio < 10 ? "%.2f" : "%.1f", ratio);
  return text;
}

void printTable(const std::vector<Outcome>& outcomes) {
  std::vector<std::vector<std::string>> lines;
  lines.push_back({"path", "ours", "baseline", "ratio", "target", "holds"});
  for (const auto& outcome : outcomes) {
    char suffix = 'a';
    for (const auto& figure : outcome.figures) {
      // The row's first figure carries its number, further ones the number
      // and a letter.
      std::string path = figure.path;
      path.erase(0, path.find_first_not_of(' '));
      std::string label = outcome.row->id;
      if (&figure != &outcome.figures.front()) label += ++suffix;
      lines.push_back({label + ". " + path, figure.ours, figure.baseline, ratioText(figure.ratio),
                       figure.target, figure.holds});
    }
    if (!outcome.failure.empty())
      lines.push_back({outcome.row->id + ". " + outcome.row->title, "FAILED: " + outcome.failure,
                       "", "", "", "no"});
  }
  std::vector<std::size_t> widths(lines.front().size(), 0);
  for (const auto& line : lines)
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  auto print = [&](const std::vector<std::string>& line) {
    std::string text = "|";
    for (std::size_t i = 0; i < line.size(); ++i)
      text += " " + line[i] + std::string(widths[i] - line[i].size(), ' ') + " |";
    std::printf("%s\n", text.c_str());
  };
  print(lines.front());
  std::string rule = "|";
  for (std::size_t width : widths) rule += std::string(width + 2, '-') + "|";
  std::printf("%s\n", rule.c_str());
  for (std::size_t i = 1; i < lines.size(); ++i) print(lines[i]);
}

// The one-minute load average of the machine.
std::string loadAverage() {
  double load[1] = {0};
  if (::getloadavg(load, 1) != 1) return "?";
  char text[16];
  std::snprintf(text, sizeof text, "%.1f", load[0]);
  return text;
}

void usage() {
  std::fprintf(stderr, "usage: orbelin_bench [--quick] [--only ID[,ID...]] [--list]\n");
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  std::string childRow, only;
  bool list = false;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    if (argument == "--quick") {
      options.quick = true;
    } else if (argument == "--list") {
      list = true;
    } else if ((argument == "--row" || argument == "--only") && i + 1 < argc) {
      (argument == "--row" ? childRow : only) = argv[++i];
    } else {
      usage();
      return 2;
    }
  }
  const auto& rows = orbelin::bench::rows();
  if (list) {
    for (const auto& row : rows) std::printf("%-3s %s\n", row.id.c_str(), row.title.c_str());
    return 0;
  }
  if (!childRow.empty()) {
    for (const auto& row : rows)
      if (row.id == childRow) {
        row.run(options);
        return 0;
      }
    usage();
    return 2;
  }

  std::vector<const Row*> selected;
  auto wanted = split(only, ',');
  for (const auto& row : rows)
    if (only.empty() || std::find(wanted.begin(), wanted.end(), row.id) != wanted.end())
      selected.push_back(&row);
  if (selected.empty()) {
    usage();
    return 2;
  }
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  auto start = orbelin::bench::Clock::now();
  const std::string loadBefore = loadAverage();
  std::vector<Outcome> outcomes;
  for (std::size_t i = 0; i < selected.size(); ++i) {
    std::fprintf(stderr, "[%zu/%zu] row %s: %s\n", i + 1, selected.size(), selected[i]->id.c_str(),
                 selected[i]->title.c_str());
    outcomes.push_back(runChild(self, *selected[i], options));
    std::fprintf(
        stderr, "  %.1f s%s\n", outcomes.back().seconds,
        outcomes.back().failure.empty() ? "" : (", FAILED: " + outcomes.back().failure).c_str());
  }

  char date[32];
  std::time_t now = std::time(nullptr);
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M", std::localtime(&now));
  // Other work on the machine shows in the spread of the repetitions and
  // in the ratios of the rows that hop between threads.
  std::printf("orbelin_bench, %s mode, %s, %u cores, load average %s before and %s after\n",
              options.quick ? "quick" : "full", date, std::thread::hardware_concurrency(),
              loadBefore.c_str(), loadAverage().c_str());
  std::printf(
      "Each figure is the median of interleaved repetitions (ours, baseline, ours, baseline, "
      "...),\n"
      "after an untimed first round; ratio = ours / baseline.%s\n\n",
      options.quick ? " Quick mode: fewer repetitions and 300 downloads instead of 1,000, so "
                      "the figures are noisier."
                    : "");
  printTable(outcomes);
  std::printf("\ntotal %.0f s\n", orbelin::bench::secondsSince(start));
  bool failed = false;
  for (const auto& outcome : outcomes) failed = failed || !outcome.failure.empty();
  return failed ? 1 : 0;
}
