#include "SharedComponents/SharedResources.h"

#include "Base/TimeLimits.h"
#include "Base/Uuid.h"
#include "Platform/GroupContainers.h"
#include "Platform/HardStop.h"
#include "Platform/Random.h"
#include "SharedComponents/Configuration.h"
#include "VCommons/VCommonsKit/VCLLogger.h"

namespace corvane {

SharedResources::SharedResources(Platform::EventLoop& loop)
    : container_(Platform::GroupContainers::directoryOf(Configuration::AppGroupIdentifier),
                 Configuration::AppGroupIdentifier, Configuration::MainAppBundleIdentifier),
      center_(loop, container_.url().value_or("")),
      applications_(loop, container_.url().value_or(""), center_),
      handlersQueue_(loop, "SharedResourcesQueue"),
      requestsQueue_(loop, "SharedResourcesQueue.Requests"),
      workQueue_(loop, "ExtensionBrowserApiClient.sharedWorkQueue"),
      signalling_(loop, center_, {handlersQueue_, requestsQueue_},
                  Configuration::MainAppBundleIdentifier, TimeLimits::reply),
      exchangeBuffer_(loop, [this] { return dataFolder(); }),
      client_(ExtensionBrowserApiClient::make({loop, exchangeBuffer_, signalling_, workQueue_,
                                               uuidFrom(Platform::randomBytes<16>())})) {}

Result<Done> SharedResources::pickUpLogLevel() const {
  return container_.pickUpLogLevel(VCLLogger::singleton());
}

std::string SharedResources::dataFolder() {
  const std::optional<std::string>& folder = dataUrl();
  if (!folder) Platform::hardStop("the shared data folder is unavailable");
  return *folder;
}

}  // namespace corvane
