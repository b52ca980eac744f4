// The contenders that are programs of their own.

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>

#include "bench/Contender.h"

namespace vecamera::bench {

std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen((command + " 2>/dev/null").c_str(), "r"),
                                                   pclose);
  std::string output;
  std::array<char, 256> piece;
  while (pipe && fgets(piece.data(), piece.size(), pipe.get())) output += piece.data();
  return output;
}

namespace {

std::string scratchFile(std::string_view name) {
  return (std::filesystem::temp_directory_path() / ("vecamera-bench-" + std::string(name)))
      .string();
}

/// Its time holds the start of its process, which is how it is used.
class ImageMagick final : public Contender {
 public:
  explicit ImageMagick(std::string version) : version_(std::move(version)) {}
  std::string name() const override { return "ImageMagick"; }
  std::string version() const override { return version_; }

  std::optional<double> time(const Workload& workload, const std::string& path) override {
    std::ostringstream command;
    command << "convert";
    if (workload.side > 0)
      command << " -define jpeg:size=" << 2 * workload.side << "x" << 2 * workload.side;
    command << " '" << path << "'";
    if (workload.quality > 0) command << " -auto-orient -quality " << workload.quality;
    if (workload.side > 0) command << " -resize " << workload.side << "x" << workload.side;
    command << " '" << resultPath(workload) << "'";
    const auto start = std::chrono::steady_clock::now();
    if (std::system(command.str().c_str()) != 0) return std::nullopt;
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
  }

  EncodedBytes result(const Workload& workload, const std::string&) override {
    const Data data = readFile(resultPath(workload));
    return {data.bytes().begin(), data.bytes().end()};
  }

 private:
  static std::string resultPath(const Workload& workload) {
    return scratchFile(workload.quality > 0 ? "magick.jpg" : "magick.png");
  }

  std::string version_;
};

/// A script that stays up, takes a workload a line, and answers with the milliseconds that it took.
class Sharp final : public Contender {
 public:
  Sharp() {
    int toScript[2];
    int fromScript[2];
    if (pipe(toScript) != 0 || pipe(fromScript) != 0) return;
    child_ = fork();
    if (child_ == 0) {
      dup2(toScript[0], STDIN_FILENO);
      dup2(fromScript[1], STDOUT_FILENO);
      for (const int end : {toScript[0], toScript[1], fromScript[0], fromScript[1]}) close(end);
      execlp("node", "node", VECAMERA_BENCH_SHARP_SCRIPT, nullptr);
      _exit(1);
    }
    close(toScript[0]);
    close(fromScript[1]);
    to_ = fdopen(toScript[1], "w");
    from_ = fdopen(fromScript[0], "r");
    version_ = line();
  }
  ~Sharp() override {
    if (to_) fclose(to_);
    if (from_) fclose(from_);
    if (child_ > 0) waitpid(child_, nullptr, 0);
  }

  bool ready() const { return !version_.empty(); }
  std::string name() const override { return "sharp"; }
  std::string version() const override { return version_; }

  std::optional<double> time(const Workload& workload, const std::string& path) override {
    fprintf(to_, "%u %d %s %s\n", workload.side, workload.quality, path.c_str(),
            resultPath().c_str());
    fflush(to_);
    const std::string answer = line();
    if (answer.empty() || answer == "no") return std::nullopt;
    return std::strtod(answer.c_str(), nullptr);
  }

  EncodedBytes result(const Workload&, const std::string&) override {
    const Data data = readFile(resultPath());
    return {data.bytes().begin(), data.bytes().end()};
  }

 private:
  static std::string resultPath() { return scratchFile("sharp"); }

  std::string line() {
    std::array<char, 256> text{};
    if (!from_ || !fgets(text.data(), text.size(), from_)) return {};
    std::string answer = text.data();
    answer.pop_back();
    return answer;
  }

  pid_t child_ = -1;
  FILE* to_ = nullptr;
  FILE* from_ = nullptr;
  std::string version_;
};

}  // namespace

std::unique_ptr<Contender> imageMagick() {
  std::istringstream output(outputOf("convert -version"));
  std::string word;
  std::string version;
  output >> word >> word >> version;
  if (version.empty()) return nullptr;
  return std::make_unique<ImageMagick>(version);
}

std::unique_ptr<Contender> sharp() {
  if (outputOf("node --version").empty()) return nullptr;
  auto contender = std::make_unique<Sharp>();
  if (!contender->ready()) return nullptr;
  return contender;
}

}  // namespace vecamera::bench
