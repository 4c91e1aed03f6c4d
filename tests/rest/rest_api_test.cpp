#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "networking/client_test.h"
#include "orbelin/platform/console.h"
#include "orbelin/rest/response.h"
#include "orbelin/rest/rest_api.h"
#include "orbelin/rest/rest_api_util.h"
#include "orbelin/rest/rest_request.h"

using namespace orbelin;
using namespace orbelin::test;
using Resource = TamberNetworking::Response;

namespace {

// Each getter, and the resource it must reach.
struct Getter {
  void (RestApi::*get)(const std::string&, RestHandler);
  const char* id;
  const char* path;
};
const Getter kGetters[] = {
    {&RestApi::getPatient, "7", "hospital/patients/patient.7"},
    {&RestApi::getInformationBooklet, "3", "hospital/informationBooklets/informationBooklet.3"},
    {&RestApi::getStaffMember, "5", "hospital/staffMembers/staffMember.5"},
};

// What the fixture writes at `path`.
std::string recordAt(const std::string& path) {
  return R"({"at": ")" + path + "\"}";
}

// Remote mode on a sample service over one resource per record kind.
class RestApiTest : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    for (const Getter& getter : kGetters) {
      writeFile(resources.path() / (std::string(getter.path) + ".json"), recordAt(getter.path));
    }
    remote();
  }
};

// The path goes after the base URL as given, with one "/" added only when it
// lacks one; a write carries its body bytes when they are UTF-8 text (empty
// included), and no body otherwise.
TEST(RestRequest, URLMethodAndBodyAreBuiltAsGiven) {
  const std::string utf8 = "{\"name\":\"Zo\xC3\xAB\",\"n\":1}";
  const std::pair<RestRequest, std::string> cases[] = {
      {RestRequest::GET(""), "GET http://h/ (no body)"},
      {RestRequest::GET("list?ward=3"), "GET http://h/list?ward=3 (no body)"},
      {RestRequest::POST("p", std::nullopt), "POST http://h/p (no body)"},
      {RestRequest::POST("p", utf8), "POST http://h/p " + utf8},
      {RestRequest::PUT("/p", std::string()), "PUT http://h/p "},
      {RestRequest::PUT("p", std::string("\xFF\xFE")), "PUT http://h/p (no body)"}};
  for (const auto& [request, expected] : cases) {
    auto built = request.urlRequestWithBaseURLString("http://h");
    EXPECT_EQ(built.method + " " + built.url + " " + built.body.value_or("(no body)"), expected);
    EXPECT_TRUE(built.headers.empty()) << "the manager adds the headers, not the request";
  }
  // Nothing is normalised: a trailing "/" of the base stays, an absent base is "".
  EXPECT_EQ(RestRequest::GET("x").urlRequestWithBaseURLString("http://h/").url, "http://h//x");
  EXPECT_EQ(RestRequest::GET("x").urlRequestWithBaseURLString(std::nullopt).url, "/x");
}

// Locally every method reads the resource its path names (leading "/" dropped,
// a query folded into the name), logs what it would have sent, and neither
// writes nor sends anything.
TEST_F(RestApiTest, LocalModeReadsThePathsResourceUnderTheRootAndWritesNothing) {
  const std::string record = recordAt("hospital/patients/patient.7");
  writeFile(resources.path() / "list_ward_3_bed_2.json", R"({"list": true})");
  auto files = [this] {
    return std::distance(std::filesystem::recursive_directory_iterator(resources.path()), {});
  };
  const auto before = files();
  DataSourceManager::setLocalMode(true);
  platform::ConsoleCapture console;

  const std::pair<RestRequest, std::string> found[] = {
      {RestRequest::GET("hospital/patients/patient.7"), record},
      {RestRequest::GET("/hospital/patients/patient.7"), record},
      {RestRequest::PUT("//hospital/patients/patient.7", R"({"patientId":"8"})"), record},
      {RestRequest::POST("hospital/patients/patient.7", std::nullopt), record},
      {RestRequest::GET("list?ward=3&bed=2"), R"({"list": true})"}};
  for (const auto& [request, expected] : found) {
    Outcome outcome = text(request.execute());
    EXPECT_TRUE(outcome.onMainThread);
    EXPECT_FALSE(outcome.error) << outcome.error->description();
    EXPECT_EQ(outcome.text.value_or(""), expected);
  }
  EXPECT_EQ(console.lines(),
            (std::vector<std::string>{"file url = hospital/patients/patient.7",
                                      "file url = /hospital/patients/patient.7",
                                      "LOCAL PUT\n Optional(\"{\"patientId\":\"8\"}\")",
                                      "LOCAL POST\n nil", "file url = list_ward_3_bed_2"}));

  EXPECT_EQ(Resource().withResource("hospital/patients/patient.7", "json").data(), record);
  EXPECT_EQ(files(), before) << "no file was added";
  EXPECT_TRUE(service->requests().empty());
}

// Each getter reaches its own record's path, logs the call and delivers the
// text once on the main queue.
TEST_F(RestApiTest, EachRecordIsFetchedAtItsPathAndDeliveredAsText) {
  platform::ConsoleCapture console;
  std::vector<std::string> lines, paths;
  for (const Getter& getter : kGetters) {
    Outcome outcome = delivered([&](auto handler) { (restAPI().*getter.get)(getter.id, handler); });
    EXPECT_TRUE(outcome.onMainThread);
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.text, recordAt(getter.path));
    lines.push_back(std::string("GET ") + getter.path);
    paths.push_back(std::string("/") + getter.path);
  }
  std::vector<std::string> received;
  for (const auto& request : service->requests()) received.push_back(request.path);
  EXPECT_EQ(received, paths);
  EXPECT_EQ(console.lines(), lines);
}

// Writes send compact JSON, and from then on every request carries the JSON
// content type.
TEST_F(RestApiTest, WritesSendCompactJSONAndContentTypeFollowsEveryLaterRequest) {
  const std::string path = "hospital/patients/patient.7";
  delivered([&](auto handler) { RestApiUtil::GET(path, handler); });

  // A POST or PUT sets the header before it looks at the body; an absent
  // body, or one JSON text cannot hold, sends nothing and never calls back.
  int calls = 0;
  auto counting = [&calls](auto, auto, auto, auto) { ++calls; };
  for (auto* write : {&RestApiUtil::POST, &RestApiUtil::PUT}) {
    DataSourceManager::resetToDefaults();
    use(*service);
    ASSERT_EQ(DataSourceManager::defaultHeaders().value("Content-Type"), std::nullopt);
    write(path, std::nullopt, counting);
    EXPECT_EQ(DataSourceManager::defaultHeaders().value("Content-Type"), "application/json");
  }
  RestApiUtil::PUT(path, boost::json::object{{"n", std::numeric_limits<double>::quiet_NaN()}},
                   counting);
  RestApiUtil::POST(path, boost::json::object{{"name", "\xFF"}}, counting);

  const std::string compact =
      R"({"entityName":"Patient","patientId":"7","weight":71.5,"notes":["a","b"]})";
  platform::ConsoleCapture console;
  Outcome put = delivered([&](auto handler) {
    RestApiUtil::PUT("/" + path, boost::json::parse(compact).as_object(), handler);
  });
  delivered([&](auto handler) {
    RestApiUtil::POST("hospital/patients/patient.8", boost::json::object{}, handler);
  });
  delivered([&](auto handler) { RestApiUtil::GET(path, handler); });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(console.lines(), (std::vector<std::string>{"PUT /hospital/patients/patient.7",
                                                       "POST hospital/patients/patient.8",
                                                       "GET hospital/patients/patient.7"}));

  std::vector<std::string> sent;
  for (const auto& request : service->requests()) {
    sent.push_back(request.method + " " + request.path + " " + request.header("Content-Type") +
                   " " + request.body);
  }
  // A leading / is not doubled.
  EXPECT_EQ(sent, (std::vector<std::string>{
                      "GET /hospital/patients/patient.7  ",
                      "PUT /hospital/patients/patient.7 application/json " + compact,
                      "POST /hospital/patients/patient.8 application/json {}",
                      "GET /hospital/patients/patient.7 application/json "}));
  EXPECT_EQ(put.text, compact) << "the reply to the write";
}

// The caller sees the error the library delivered: a fault of the service,
// or a record it does not have (404), with the reply's body.
TEST_F(RestApiTest, FailuresReachTheCallerUnchanged) {
  ASSERT_TRUE(service->setFault({{"status", 500}}));
  for (const auto& [id, status] : {std::pair{"7", "500"}, std::pair{"404", "404"}}) {
    Outcome outcome = delivered([&](auto handler) { restAPI().getPatient(id, handler); });
    EXPECT_EQ(outcome.errorCode(), TamberNetworking::Request::kStatusCodeValidationFailed) << id;
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->userInfoValue(Error::kStatusCodeKey), status);
    EXPECT_TRUE(outcome.text.has_value()) << id;
  }
}

// Only a text "Authorization" inside "response" is the token.
TEST(RestResponseTest, TheTokenIsReadFromResponseAuthorization) {
  for (const auto& [text, token] : std::vector<std::pair<const char*, const char*>>{
           {R"({"response": {"Authorization": "Bearer abc", "other": 1}})", "Bearer abc"},
           {R"({"Authorization": "top"})", ""},
           {R"({"response": {"Authorization": 5}})", ""},
           {R"({"response": "Authorization"})", ""},
           {"[1, 2]", ""}}) {
    EXPECT_EQ(Response::authenticationTokenFromJSON(*TamberNetworking::JSON::parse(text)), token)
        << text;
  }
  EXPECT_EQ(Response::authenticationTokenFromJSON(TamberNetworking::JSON()), "");
}

}  // namespace
