#include "FileManager.h"

#include "VECamera/contracts/FileManagerContract.h"

namespace vecamera {

INSTANTIATE_TEST_SUITE_P(Host, FileManagerContract,
                         testing::Values([](const std::string& temporaryDirectory) {
                           return std::make_unique<host::FileManager>(temporaryDirectory);
                         }));

}  // namespace vecamera
