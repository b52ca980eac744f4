#pragma once

#include <string>
#include <string_view>

namespace vecamera::simulator {

/// A script that is inserted in pages whose policy does not know it.
struct InsertedScript {
  /// Its address, as a policy's source.
  std::string source;
  /// Where a policy asks for one.
  std::string nonce;
};

/// The value of a page's "Content-Security-Policy" without what it says about frames, so that the
/// page may stand in one, and with the script allowed. Everything else that it forbids stays
/// forbidden. Empty where nothing is left.
std::string framedPolicy(std::string_view value, const InsertedScript& script);

}  // namespace vecamera::simulator
