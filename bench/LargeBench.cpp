// large-bench FOLDER: the most memory that a message of 64 MB costs, as a multiple of its length:
// when the host's reader handles it, beside the JSON library alone, each in a process of its own;
// and the whole host in FOLDER, without a main application. What a process holds beforehand does
// not count, the message and what is made of it do.
//
// Run it where the host finds a group container.

#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>

#include "bench/Child.h"
#include "bench/JsonBodies.h"
#include "bench/NewFolder.h"
#include "bench/ProcessFact.h"
#include "bench/Row.h"
#include "corvane-nm/FrameReader.h"

namespace corvane::bench {
namespace {

namespace json = boost::json;

constexpr std::size_t length = 64 * megabyte;
constexpr double kilobyte = 1024;  // as the system counts them

/// The growth of a process's memory from its size at the start to its peak, in multiples of a body.
class Growth {
 public:
  explicit Growth(pid_t process) : process_(process), start_(fact("VmRSS")) {}
  [[nodiscard]] double peak() const { return (fact("VmHWM") - start_) * kilobyte / length; }
  [[nodiscard]] double now() const { return (fact("VmRSS") - start_) * kilobyte / length; }

 private:
  [[nodiscard]] double fact(const std::string& key) const {
    return processFact(process_, "status", key);
  }
  const pid_t process_;
  const double start_;
};

JsonObject sample(const std::string& shape) {
  return shape == "one string" ? oneString(length) : manyObjects(length);
}

void require(bool isFine, const char* what) {
  if (!isFine) throw std::runtime_error(what);
}

void decodeOurs(int file) {
  bool hasMessage = false;
  FrameReader reader(file,
                     [&](const RequestProcessing::Request& /*request*/) { hasMessage = true; });
  while (!hasMessage && reader.read()) continue;
  require(hasMessage, "can't decode");
}

void decodePlainly(int file) {
  std::uint32_t announced = 0;
  require(::read(file, &announced, sizeof announced) == sizeof announced, "can't read");
  const std::unique_ptr<char[]> body(new char[announced]);
  require(::read(file, body.get(), announced) == announced, "can't read");
  json::error_code error;
  const json::value value = json::parse({body.get(), announced}, error);
  require(value.is_object(), "can't decode");
}

double peakOfDecoding(const std::string& path, bool isOurs) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const Growth growth(::getpid());
  isOurs ? decodeOurs(file) : decodePlainly(file);
  return growth.peak();
}

/// What a process of its own, which is this program again, says it came to.
double measured(const std::string& program, const std::string& path, const char* whose) {
  Child child({program, path, whose});
  const double peak = std::stod(child.receive());
  child.finish();
  return peak;
}

void addHost(const std::string& folder, const std::string& shape, const std::string& frame) {
  Child host({folder + "/corvane-nm"});
  host.send(R"({"type":"getCurrentAppState","id":"0"})");
  static_cast<void>(host.receive());
  const Growth growth(host.process());
  host.sendBytes(frame);
  static_cast<void>(host.receive());
  printRow("peak memory, host, 64 MB, " + shape, "bodies", {{growth.peak()}, {}});
  host.finish();
}

void run(const std::string& program, const std::string& folder) {
  for (const std::string shape : {"one string", "1 KB objects"}) {
    const NewFolder files(".");
    const std::string path = files.path() + "/frame";
    const std::string frame = frameOf(json::serialize(sample(shape)));
    std::ofstream(path, std::ios::binary) << frame;
    printRow("peak memory, decode, 64 MB, " + shape, "bodies",
             {{measured(program, path, "ours")}, {measured(program, path, "floor")}});
    addHost(folder, shape, frame);
  }
}

/// In the process of its own: its result as a frame.
void runOne(const std::string& path, bool isOurs) {
  std::cout << frameOf(std::to_string(peakOfDecoding(path, isOurs))) << std::flush;
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  try {
    if (argumentCount == 2) {
      corvane::bench::run(arguments[0], arguments[1]);
    } else if (argumentCount == 3) {
      corvane::bench::runOne(arguments[1], std::string_view(arguments[2]) == "ours");
    } else {
      std::cerr << "usage: large-bench FOLDER\n";
      return 2;
    }
  } catch (const std::exception& error) {
    std::cerr << "large-bench: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
