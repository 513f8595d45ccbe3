#include "tools/corvane-main-app/LogLevel.h"

#include <fcntl.h>

#include "Base/BinaryPropertyListWriter.h"
#include "Base/Bytes.h"
#include "Platform/File.h"
#include "Platform/GroupSettings.h"
#include "Platform/SystemCalls.h"
#include "SharedComponents/Configuration.h"
#include "tools/corvane-main-app/Vocabulary.h"

namespace corvane::MainApp {
namespace {

using Platform::File;

constexpr char key[] = "DefaultsKeyLogLevel";
constexpr char folder[] = "Library/Preferences";

std::string settingsWith(std::int64_t level) {
  constexpr std::uint64_t objectCount = 3;
  BinaryPropertyListWriter writer(BinaryPropertyListWriter::referenceWidthFor(objectCount));
  const auto top = writer.addDictionary(1);
  writer.setKey(top, 0, writer.addText(key));
  writer.setValue(top, 0, writer.addInteger(level));
  return writer.finish();
}

Result<Done> writeNew(const std::string& path, const std::string& content) {
  (void)Platform::removeFile(path);  // of an application that died in between
  auto file = File::open(path, File::Access::makeAppend);
  if (!file) return file.failure();
  const auto written = file->append(bytesOf(content));
  if (!written) return written.failure();
  if (written.value() != content.size()) return Failure{FailureCause::noSpace, "the disk is full"};
  return Done{};
}

}  // namespace

Result<Done> LogLevel::set(std::int64_t level) {
  if (auto made = Platform::makeDirectories(containerFolder_, folder); !made) return made;
  const std::string path = containerFolder_ + "/" + folder + "/" +
                           std::string(Configuration::AppGroupIdentifier) + ".plist";
  if (auto written = writeNew(path + ".new", settingsWith(level)); !written) return written;
  if (Platform::systemCalls().renameat(AT_FDCWD, (path + ".new").c_str(), AT_FDCWD, path.c_str()) !=
      0)
    return Platform::failureFromErrno("rename", path);
  center_.post(notificationName("appReconfig"));
  return Done{};
}

std::int64_t LogLevel::get() const {
  const auto settings =
      Platform::GroupSettings::open(containerFolder_, Configuration::AppGroupIdentifier);
  return settings ? settings->integer(key) : 0;
}

}  // namespace corvane::MainApp
