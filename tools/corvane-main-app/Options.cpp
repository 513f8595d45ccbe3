#include "tools/corvane-main-app/Options.h"

#include <cstddef>

namespace corvane::MainApp {

const char* const usage = R"(corvane-main-app: a stand-in for the main application

  --container FOLDER  the group container; default: that of the user in the user database
  --locale LOCALE     what it reports as its locale; default: en
  --print             each request taken and each reply given as a line of JSON
  --fault 'TEXT'      as the command "fault" below; may be repeated
  --daemon            the end of standard input is no reason to end
  --help

It writes "ready" once it can answer, and ends on SIGTERM, on SIGINT, on the command "quit", and at
the end of standard input when that is a pipe, a socket or a terminal. Started while another one
runs in the container, it has that one announce its state and ends.

Commands, a line each on standard input; each is answered by a line "ok" or "error REASON":

  protection on|off       switch protection, and announce
  rule add|remove TEXT    change the user rules, and announce
  level N                 set the log level of the group settings, and tell the hosts
  state                   the whole state as a line of JSON {"state": ...} before the answer
  announce                announce the state
  quit                    end
  fault none              do everything right again
  fault KIND [command=NAME] [times=N] [ARGUMENT]
                          do something wrong: for that command only, for the next N requests only

  KIND  silent            take the request and do nothing
        late MS           do and answer it after MS milliseconds
        name NAME         answer under another name
        id ID             answer under another identifier, in the right file
        file ID           put the answer into the file of another identifier
        error [TEXT]      refuse with an error object
        string-error [TEXT]  refuse with a text where an error object should be
        wrong-type        give a result that is an integer
        no-result         give no result
)";

Result<Options> readOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& option = arguments[i];
    if (option == "--print") {
      options.prints = true;
    } else if (option == "--daemon") {
      options.isDaemon = true;
    } else if (option == "--help") {
      options.asksForHelp = true;
    } else if (option != "--container" && option != "--locale" && option != "--fault") {
      return Failure{FailureCause::malformed, "unknown option " + option};
    } else if (++i == arguments.size()) {
      return Failure{FailureCause::malformed, option + " needs a value"};
    } else if (option == "--container") {
      options.container = arguments[i];
    } else if (option == "--locale") {
      options.locale = arguments[i];
    } else {
      options.faults.push_back(arguments[i]);
    }
  }
  return options;
}

}  // namespace corvane::MainApp
