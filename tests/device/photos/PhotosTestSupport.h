#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "device/photos/LibraryStore.h"
#include "device/photos/RandomIdentifiers.h"

namespace vecamera::device::photos {

/// A fresh folder, removed at the end.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "photos-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline void writeText(const std::filesystem::path& file, const std::string& text) {
  std::ofstream(file, std::ios::binary) << text;
}

inline std::set<std::string> namesIn(const std::filesystem::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

inline std::string textOf(const Data& data) {
  return std::string(data.bytes().begin(), data.bytes().end());
}

/// Pictures of these tests are texts: "JPEG:40x30:6:anything", with size and orientation.
inline StoreResult<AssetFormat> probeTestPicture(const Data& data) {
  const std::string text = textOf(data);
  AssetFormat probed{"jpg", "public.jpeg", 0, 0, 1, std::nullopt};
  if (std::sscanf(text.c_str(), "JPEG:%dx%d:%u", &probed.width, &probed.height,
                  &probed.orientation) < 2) {
    return storeFailure(StoreError::Kind::invalidResource, "no text of one");
  }
  return probed;
}

/// Movies are texts, too: "MOVIE:64x48:2.5".
inline StoreResult<AssetFormat> probeTestMovie(const AssetContent& content) {
  const auto* bytes = std::get_if<Data>(&content);
  std::ifstream file(bytes ? std::filesystem::path() : std::get<std::filesystem::path>(content));
  const std::string text =
      bytes ? textOf(*bytes) : std::string(std::istreambuf_iterator<char>(file), {});
  AssetFormat probed{"mp4", "public.mpeg-4", 0, 0, 1, 0.0};
  if (std::sscanf(text.c_str(), "MOVIE:%dx%d:%lf", &probed.width, &probed.height,
                  &*probed.durationSeconds) < 3) {
    return storeFailure(StoreError::Kind::invalidResource, "no text of one");
  }
  return probed;
}

inline LibraryStore::Options testOptions() {
  LibraryStore::Options options;
  options.pictureFormats = "JPEG, PNG, HEIC, WebP";
  options.movieFormats = "MP4, QuickTime, WebM";
  options.probePicture = probeTestPicture;
  options.probeMovie = probeTestMovie;
  options.identifiers = RandomIdentifiers(7);
  return options;
}

inline NewAsset testPicture(const std::string& name,
                            std::optional<std::string> identifier = std::nullopt) {
  return {std::move(identifier), PHAssetResourceType::photo, Data::copyOf("JPEG:4x3:1:" + name),
          Date()};
}

/// Fails the test where the library cannot be opened.
inline std::unique_ptr<LibraryStore> openLibrary(const std::filesystem::path& folder,
                                                 LibraryStore::Options options = testOptions()) {
  auto opened = LibraryStore::open(folder, std::move(options));
  if (!opened) {
    ADD_FAILURE() << opened.error().message;
    std::abort();
  }
  return *std::move(opened);
}

inline std::vector<std::string> identifiersIn(LibraryStore& store) {
  std::vector<std::string> identifiers;
  const auto records = store.list();
  EXPECT_TRUE(records);
  if (!records) return identifiers;
  for (const AssetRecord& record : *records) identifiers.push_back(record.identifier);
  return identifiers;
}

}  // namespace vecamera::device::photos
