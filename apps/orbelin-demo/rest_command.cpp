// `rest GET PATH | rest POST PATH JSON | rest PUT PATH JSON`: one call through
// the second-generation REST helper, printing the reply text as it came.
#include <iostream>

#include "demo.h"
#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/console.h"
#include "orbelin/rest/rest_api_util.h"
#include "orbelin/text/json_text.h"
#include "wait_support.h"

namespace orbelin::demo {
namespace {

int usage(const std::string& why) {
  std::cerr << "orbelin-demo: " << why << "\n";
  printUsage(std::cerr);
  return kExitUsage;
}

}  // namespace

int runRest(const DemoOptions& options) {
  // command = {"rest", METHOD, PATH[, JSON]}
  const auto& command = options.command;
  if (command.size() < 3) return usage("rest takes a method and a path");
  const std::string& method = command[1];
  const std::string& path = command[2];
  const bool writes = method == "POST" || method == "PUT";
  if (method != "GET" && !writes) return usage("rest method must be GET, POST or PUT");
  if (command.size() != (writes ? 4u : 3u))
    return usage(method + (writes ? " takes a path and a JSON object" : " takes a path"));
  std::optional<boost::json::object> body;
  if (writes) {
    body = text::json(command[3]);
    if (!body) return usage("the body must be a JSON object");
  }

  // The library's own console lines ("GET path", "file url = ...") would mix
  // with the reply on stdout.
  platform::ConsoleCapture quiet;
  Reply reply;
  if (method == "GET") {
    RestApiUtil::GET(path, reply.handler());
  } else if (method == "POST") {
    RestApiUtil::POST(path, body, reply.handler());
  } else {
    RestApiUtil::PUT(path, body, reply.handler());
  }
  if (!reply.wait()) {
    std::cerr << "error: no reply within " << kReplyTimeout.count() << " s\n";
    return kExitFailure;
  }
  if (reply.error) {
    std::cerr << "error: " << errorLine(*reply.error) << "\n";
    return kExitFailure;
  }
  std::string text = reply.text.value_or("");
  if (text.empty() || text.back() != '\n') text += '\n';
  std::cout << text;
  return kExitSuccess;
}

}  // namespace orbelin::demo
