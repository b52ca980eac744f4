#include "simulator/server/http/FramedPolicy.h"

#include <gtest/gtest.h>

namespace vecamera::simulator {
namespace {

TEST(FramedPolicyTest, AllowsTheFrameAndTheScriptAndNothingMore) {
  const InsertedScript script{"http://a/s.js", "N"};
  const struct {
    const char* given;
    const char* expected;
  } cases[] = {
      {"frame-ancestors 'none'", ""},
      {"img-src *; Frame-Ancestors 'self' ;", "img-src *"},
      {"script-src 'self'", "script-src 'self' http://a/s.js"},
      {"script-src 'none'", "script-src http://a/s.js"},
      {"default-src 'self'; img-src *",
       "default-src 'self'; img-src *; script-src-elem 'self' http://a/s.js"},
      {"default-src *; script-src 'self'; script-src-elem b",
       "default-src *; script-src 'self'; script-src-elem b http://a/s.js"},
      {"script-src 'strict-dynamic' 'nonce-x'", "script-src 'strict-dynamic' 'nonce-x' 'nonce-N'"},
      {"script-src a, frame-ancestors b, default-src c",
       "script-src a http://a/s.js, default-src c; script-src-elem c http://a/s.js"},
  };
  for (const auto& one : cases) EXPECT_EQ(framedPolicy(one.given, script), one.expected);
}

}  // namespace
}  // namespace vecamera::simulator
