#include "device/script/script/FieldReaders.h"

namespace vecamera::device::script {
namespace {

struct FaultKind {
  std::string_view name;
  FaultPoint at;
  /// The keys beside "at" and "times".
  Keys keys;
};

using enum FaultPoint;
const std::vector<FaultKind> faultKinds = {
    {"performChanges", performChanges, {"error", "returns", "noPlaceholder"}},
    {"requestImageData", requestImageData, {"returns"}},
    {"createFile", createFile, {"error"}},
    {"writeFile", writeFile, {"error"}},
    {"removeItem", removeItem, {"path", "error"}},
    {"enumerator", enumerator, {"returns"}},
    {"jpegEncoder", jpegEncoder, {"returns"}},
    {"pngEncoder", pngEncoder, {"returns"}},
    {"bitmapContext", bitmapContext, {"returns"}},
    {"settingsURL", settingsURL, {"returns"}},
    {"export", exportMovie, {"error"}},
};

void readReturns(const JsonNode& node, Fault& fault) {
  if (fault.at != FaultPoint::performChanges) {
    // These give nothing in any case; the key only says so.
    node.choice(Keys{"nothing", "none"});
    return;
  }
  if (node.boolean()) node.fail("it can only be false");
  fault.returnsFalse = true;
}

Fault readFault(const JsonNode& node) {
  Fault fault;
  const JsonFields fields(node);
  const auto at = fields.require("at");
  const auto* kind = at ? readKind(*at, faultKinds) : nullptr;
  if (kind == nullptr) return fault;
  fault.at = kind->at;
  fields.allowOnly(joined({"at", "times"}, kind->keys));
  if (const auto times = fields.find("times")) {
    fault.times = times->integer();
    if (*fault.times < 0) times->fail("it must be 0 or more");
  }
  if (const auto error = fields.find("error")) fault.error = error->text();
  if (const auto returns = fields.find("returns")) readReturns(*returns, fault);
  if (const auto flag = fields.find("noPlaceholder")) fault.noPlaceholder = flag->boolean();
  if (const auto path = fields.find("path")) {
    fault.path = readInnerName(*path);
    if (fault.path->ends_with('/')) fault.path->pop_back();
  }
  const bool isBare =
      !fields.has("error") && !fields.has("returns") && !fields.has("noPlaceholder");
  if (fault.at == FaultPoint::performChanges && isBare) fault.returnsFalse = true;
  // A fault whose keys all say that it is none never strikes.
  const bool isNone = fault.at == FaultPoint::performChanges && !fault.error &&
                      !fault.returnsFalse && !fault.noPlaceholder;
  if (isNone) fault.times = 0;
  return fault;
}

}  // namespace

std::vector<Fault> readFaults(const JsonNode& node) {
  return readList(node, readFault);
}

}  // namespace vecamera::device::script
