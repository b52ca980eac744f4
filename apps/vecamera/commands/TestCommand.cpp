#include <algorithm>
#include <chrono>
#include <iostream>
#include <nlohmann/json.hpp>

#include "apps/vecamera/commands/Commands.h"
#include "apps/vecamera/commands/Files.h"
#include "apps/vecamera/commands/JUnitReport.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/script/expectation/FlowPlay.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::app {
namespace {

namespace fs = std::filesystem;
namespace script = device::script;
using device::Failure;
using Verdict = TestedFlow::Verdict;

/// Of one flow; a page that does something else altogether differs everywhere.
constexpr std::size_t maxDifferences = 20;

AppResult<std::string> readText(const fs::path& path) {
  const auto bytes = device::foundation::readFile(path);
  if (!bytes) return Failure(path.string() + ": it cannot be read: " + bytes.error().message);
  return std::string(bytes->bytes().begin(), bytes->bytes().end());
}

fs::path expectationOf(fs::path flow) {
  return flow.replace_extension(".expected");
}

/// Whether a file of a named folder is to be played. Other JSON has no steps. What is no JSON may
/// have been a flow.
bool mayBeFlow(const fs::path& file) {
  std::error_code ignored;
  if (fs::exists(expectationOf(file), ignored)) return true;
  const auto text = readText(file);
  if (!text) return true;
  const auto json = nlohmann::json::parse(*text, nullptr, false);
  return json.is_discarded() || (json.is_object() && json.contains("steps"));
}

/// The flows in the folder, in the order of their names.
AppResult<std::vector<fs::path>> flowsIn(const fs::path& folder) {
  std::vector<fs::path> flows;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const auto& path = entry->path();
    std::error_code ignored;
    const auto flow = fs::path(path).replace_extension(".json");
    if (path.extension() == ".expected" && !fs::exists(flow, ignored))
      return Failure(path.string() + ": there is no script " + flow.filename().string() +
                     " for it; bring it back, or remove the expectation");
    if (path.extension() == ".json" && fs::is_regular_file(path, ignored) && mayBeFlow(path))
      flows.push_back(path);
  }
  if (error) return Failure(folder.string() + ": the folder cannot be read");
  if (flows.empty())
    return Failure(folder.string() + ": there is no device script with steps in this folder");
  std::sort(flows.begin(), flows.end());
  return flows;
}

/// The flows that are named, and those in the folders that are named, each once.
AppResult<std::vector<fs::path>> flowsOf(const std::vector<fs::path>& named) {
  std::vector<fs::path> flows;
  for (const auto& path : named) {
    std::error_code ignored;
    std::vector<fs::path> found{path};
    if (fs::is_directory(path, ignored)) {
      auto inFolder = flowsIn(path);
      if (!inFolder) return std::move(inFolder).failure();
      found = *std::move(inFolder);
    }
    for (auto& flow : found) {
      if (expectationOf(flow) == flow)
        return Failure(flow.string() + ": it is an expectation; name the script beside it");
      const auto isSame = [&flow](const fs::path& other) {
        std::error_code none;
        return flow == other || fs::equivalent(flow, other, none);
      };
      if (std::none_of(flows.begin(), flows.end(), isSame)) flows.push_back(std::move(flow));
    }
  }
  return flows;
}

class FlowTest {
 public:
  FlowTest(const fs::path& flow, const TestOptions& options) : flow_(flow), options_(options) {
    tested_.name = flow.string();
  }

  TestedFlow run() {
    const auto begun = std::chrono::steady_clock::now();
    test();
    tested_.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    return std::move(tested_);
  }

 private:
  void test() {
    auto read = script::readScript(flow_);
    if (!read) return end(Verdict::broken, read.error().description());
    if (read->steps.empty()) return end(Verdict::broken, "it has no steps, so it tests nothing");
    const auto path = expectationOf(flow_);
    std::error_code ignored;
    std::optional<script::Expectation> expected;
    if (fs::exists(path, ignored)) {
      const auto text = readText(path);
      if (!text) return end(Verdict::broken, text.error());
      auto parsed = script::parseExpectation(*text);
      if (parsed)
        expected = *std::move(parsed);
      else if (!options_.update)
        return end(Verdict::broken, path.string() + ": " + parsed.error().description());
    } else if (!options_.update) {
      return end(Verdict::failed, "there is no expectation " + path.string() +
                                      "; write it with --update, and read it");
    }
    const auto played = script::playFlow(*read, {options_.limit, wasInterrupted}, std::cerr);
    if (!played) return end(Verdict::broken, played.error().description());
    if (options_.update)
      update(path, expected, *played);
    else
      report(script::compare(*expected, *played, {options_.distance}));
  }

  void report(const std::vector<script::Difference>& differences) {
    for (const auto& difference : differences) {
      if (tested_.messages.size() == maxDifferences) {
        end(Verdict::failed,
            "and " + std::to_string(differences.size() - maxDifferences) + " more differences");
        break;
      }
      end(Verdict::failed, difference.description());
    }
  }

  void update(const fs::path& path, const std::optional<script::Expectation>& expected,
              const script::PlayedFlow& played) {
    if (played.failure)
      return end(Verdict::failed,
                 played.failure->description() + "; the expectation stays as it is");
    const bool isSame = expected && script::compare(*expected, played, {options_.distance}).empty();
    if (isSame) return;
    const auto written = replaceFile(path, script::toText(played.shown));
    if (!written) return end(Verdict::failed, written.error());
    std::cout << path.string() << ": written" << std::endl;
  }

  void end(Verdict verdict, std::string message) {
    tested_.verdict = verdict;
    tested_.messages.push_back(tested_.name + ": " + std::move(message));
  }

  const fs::path& flow_;
  const TestOptions& options_;
  TestedFlow tested_;
};

void print(const TestedFlow& flow) {
  auto& stream = flow.verdict == Verdict::broken ? std::cerr : std::cout;
  for (const auto& message : flow.messages) stream << message << '\n';
  if (flow.verdict == Verdict::passed) stream << flow.name << ": passed\n";
  stream << std::flush;
}

}  // namespace

ExitStatus test(const TestOptions& options) {
  const auto flows = flowsOf(options.flows);
  if (!flows) return refuse(flows.error());
  std::vector<TestedFlow> tested;
  for (const auto& flow : *flows) {
    tested.push_back(FlowTest(flow, options).run());
    print(tested.back());
    if (wasInterrupted()) return fail("interrupted");
  }

  const auto count = [&tested](Verdict verdict) {
    return std::count_if(tested.begin(), tested.end(),
                         [=](const auto& flow) { return flow.verdict == verdict; });
  };
  const auto failed = count(Verdict::failed);
  const auto broken = count(Verdict::broken);
  std::cout << tested.size() << (tested.size() == 1 ? " flow: " : " flows: ")
            << count(Verdict::passed) << " passed, " << failed << " failed";
  if (broken > 0) std::cout << ", " << broken << " broken";
  std::cout << std::endl;
  if (options.junit)
    if (const auto written = replaceFile(*options.junit, junitReport(tested)); !written)
      return fail(written.error());
  if (!std::cout) return fail("standard output cannot be written");
  if (broken > 0) return ExitStatus::usage;
  return failed > 0 ? ExitStatus::failure : ExitStatus::success;
}

}  // namespace vecamera::app
