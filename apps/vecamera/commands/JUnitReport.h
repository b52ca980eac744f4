#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vecamera::app {

/// How the test of one flow ended.
struct TestedFlow {
  enum class Verdict {
    passed,
    /// It showed something else than expected, or there is no expectation.
    failed,
    /// A file is broken, so that nothing was compared.
    broken,
  };
  /// As the user named it, or found in a folder.
  std::string name;
  Verdict verdict = Verdict::passed;
  /// What differs, one thing a line.
  std::vector<std::string> messages;
  double seconds = 0;
};

/// The flows as JUnit XML, in the form that services for continuous integration read: one suite,
/// with a test case for each flow.
std::string junitReport(const std::vector<TestedFlow>& flows);

}  // namespace vecamera::app
