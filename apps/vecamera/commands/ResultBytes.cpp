#include "apps/vecamera/commands/ResultBytes.h"

#include <nlohmann/json.hpp>

#include "device/foundation/files/WholeFiles.h"
#include "device/photos/LibraryStore.h"
#include "device/script/assembly/LibraryOptions.h"
#include "device/script/json/JsonValue.h"
#include "device/script/play/AnsweredContent.h"

namespace vecamera::app {

using device::Failure;

Value resultOf(const nlohmann::ordered_json& answer) {
  const auto data =
      device::script::toValue(nlohmann::json(answer.value("data", nlohmann::ordered_json())));
  const auto* dictionary = data ? data->dictionary() : nullptr;
  const auto* result = dictionary ? find(*dictionary, device::script::resultKey) : nullptr;
  return result ? *result : Value();
}

AppResult<Data> bytesOfResult(const Value& callbackUri, const std::filesystem::path& home) {
  const auto library = device::photos::LibraryStore::open(device::script::libraryFolder(home),
                                                          device::script::libraryOptions());
  if (!library) return Failure(library.error().message);
  const auto content = device::script::answeredContent(callbackUri, **library);
  if (!content) return Failure(content.error().message);
  if (const auto* bytes = std::get_if<Data>(&*content)) return *bytes;
  const auto& path = std::get<std::filesystem::path>(*content);
  auto bytes = device::foundation::readFile(path);
  if (!bytes) return Failure(path.string() + ": " + bytes.error().message);
  return *std::move(bytes);
}

}  // namespace vecamera::app
