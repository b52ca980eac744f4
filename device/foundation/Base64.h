#pragma once

#include "VECamera/platform/Foundation.h"

namespace vecamera::device {

/// Stateless; any thread.
class Base64 : public NSDataBase64 {
 public:
  std::string base64EncodedString(std::string_view prefix, const Data& data) const override;
};

}  // namespace vecamera::device
