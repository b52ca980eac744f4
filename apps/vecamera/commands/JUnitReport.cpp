#include "apps/vecamera/commands/JUnitReport.h"

#include <algorithm>
#include <cstdio>

#include "device/base/Utf8.h"

namespace vecamera::app {
namespace {

/// The text within an attribute or an element. What XML 1.0 cannot hold becomes a question mark.
std::string escaped(std::string_view text) {
  const bool isUtf8 = device::isUtf8(text);
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '&': result += "&amp;"; break;
      case '<': result += "&lt;"; break;
      case '>': result += "&gt;"; break;
      case '"': result += "&quot;"; break;
      case '\n': result += "&#10;"; break;
      default: result += byte < 0x20 || (byte >= 0x80 && !isUtf8) ? '?' : c;
    }
  }
  return result;
}

std::string attribute(std::string_view name, std::string_view value) {
  return " " + std::string(name) + "=\"" + escaped(value) + "\"";
}

std::string seconds(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", value);
  return text;
}

std::string testCase(const TestedFlow& flow) {
  std::string xml = "    <testcase" + attribute("classname", "vecamera") +
                    attribute("name", flow.name) + attribute("time", seconds(flow.seconds));
  if (flow.verdict == TestedFlow::Verdict::passed) return xml + "/>\n";
  const std::string element = flow.verdict == TestedFlow::Verdict::broken ? "error" : "failure";
  std::string text;
  for (const auto& message : flow.messages) text += message + "\n";
  const auto first = flow.messages.empty() ? std::string() : flow.messages.front();
  return xml + ">\n      <" + element + attribute("message", first) + ">" + escaped(text) + "</" +
         element + ">\n    </testcase>\n";
}

}  // namespace

std::string junitReport(const std::vector<TestedFlow>& flows) {
  using Verdict = TestedFlow::Verdict;
  const auto count = [&flows](Verdict verdict) {
    return std::to_string(std::count_if(flows.begin(), flows.end(),
                                        [=](const auto& flow) { return flow.verdict == verdict; }));
  };
  double time = 0;
  for (const auto& flow : flows) time += flow.seconds;
  const auto totals = attribute("tests", std::to_string(flows.size())) +
                      attribute("failures", count(Verdict::failed)) +
                      attribute("errors", count(Verdict::broken)) +
                      attribute("time", seconds(time));
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" + totals +
                    ">\n  <testsuite" + attribute("name", "vecamera") + totals + ">\n";
  for (const auto& flow : flows) xml += testCase(flow);
  return xml + "  </testsuite>\n</testsuites>\n";
}

}  // namespace vecamera::app
