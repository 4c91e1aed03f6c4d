#include <gtest/gtest.h>

#include "networking/client_test.h"
#include "networking/networking_test_support.h"
#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/console.h"
#include "orbelin/rest/rest_request.h"

using namespace orbelin;
using namespace orbelin::test;
using TamberNetworking::DataSourceManager;

namespace {

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

class RestRequestTest : public ClientTest {};

TEST_F(RestRequestTest, SuffixAndURLKeepThePathAsGiven) {
  EXPECT_EQ(RestRequest::urlSuffix("a/b"), "/a/b");
  EXPECT_EQ(RestRequest::urlSuffix("/a/b"), "/a/b");
  EXPECT_EQ(RestRequest::urlSuffix(""), "/");
  EXPECT_EQ(RestRequest::urlSuffix("list?ward=3"), "/list?ward=3");

  const std::string base = "http://127.0.0.1:9";
  auto get =
      RestRequest::GET("hospital/staffMembers/staffMember.5").urlRequestWithBaseURLString(base);
  EXPECT_EQ(get.url, base + "/hospital/staffMembers/staffMember.5");
  EXPECT_EQ(get.method, "GET");
  EXPECT_FALSE(get.body.has_value());
  EXPECT_TRUE(get.headers.empty()) << "the manager adds the headers, not the request";

  // Nothing is normalised: a trailing "/" of the base stays, an absent base is "".
  EXPECT_EQ(RestRequest::GET("x").urlRequestWithBaseURLString(base + "/").url, base + "//x");
  EXPECT_EQ(RestRequest::GET("x").urlRequestWithBaseURLString(std::nullopt).url, "/x");
}

TEST_F(RestRequestTest, WritesCarryTheBodyBytesOrNoBodyAtAll) {
  const std::string base = "http://h";
  auto noBody = RestRequest::POST("p", std::nullopt).urlRequestWithBaseURLString(base);
  EXPECT_EQ(noBody.method, "POST");
  EXPECT_FALSE(noBody.body.has_value());

  const std::string text = "{\"name\":\"Zo\xC3\xAB\",\"n\":1}";
  auto post = RestRequest::POST("p", text).urlRequestWithBaseURLString(base);
  ASSERT_TRUE(post.body.has_value());
  EXPECT_EQ(*post.body, text) << "the UTF-8 bytes, unchanged";

  auto put = RestRequest::PUT("/p", std::string()).urlRequestWithBaseURLString(base);
  EXPECT_EQ(put.method, "PUT");
  EXPECT_EQ(put.url, "http://h/p");
  ASSERT_TRUE(put.body.has_value()) << "an empty text is a present, empty body";
  EXPECT_TRUE(put.body->empty());

  // Bytes that are not UTF-8 have no text form: sent without a body.
  auto invalid = RestRequest::PUT("p", std::string("\xFF\xFE")).urlRequestWithBaseURLString(base);
  EXPECT_FALSE(invalid.body.has_value());
}

TEST_F(RestRequestTest, LocalModeReadsFoldersAndQueryNamesAndWritesNothing) {
  const auto file = resources.path() / "hospital/patients/patient.7.json";
  writeFile(file, R"({"entityName": "Patient", "patientId": "7"})");
  writeFile(resources.path() / "list_ward_3_bed_2.json", R"({"list": true})");
  DataSourceManager::setLocalMode(true);
  platform::ConsoleCapture console;

  Outcome get, put, post, query;
  RestRequest::GET("hospital/patients/patient.7").execute()->responseString(get.stringHandler());
  RestRequest::PUT("hospital/patients/patient.7", R"({"patientId":"8"})")
      .execute()
      ->responseString(put.stringHandler());
  RestRequest::POST("hospital/patients/patient.7", std::nullopt)
      .execute()
      ->responseString(post.stringHandler());
  RestRequest::GET("list?ward=3&bed=2").execute()->responseString(query.stringHandler());
  for (Outcome* outcome : {&get, &put, &post, &query}) {
    ASSERT_TRUE(outcome->wait());
    EXPECT_EQ(outcome->calls, 1);
    EXPECT_TRUE(outcome->onMainThread);
    EXPECT_FALSE(outcome->error) << outcome->error->description();
  }
  EXPECT_EQ(get.text, R"({"entityName": "Patient", "patientId": "7"})");
  EXPECT_EQ(put.text, get.text) << "a local PUT answers what a GET of its path reads";
  EXPECT_EQ(post.text, get.text);
  EXPECT_EQ(query.text, R"({"list": true})");
  EXPECT_EQ(readFile(file), *get.text) << "nothing was written";
  EXPECT_EQ(std::distance(std::filesystem::recursive_directory_iterator(resources.path()),
                          std::filesystem::recursive_directory_iterator()),
            4)
      << "no file was added (two folders, two files)";

  EXPECT_EQ(console.lines(),
            (std::vector<std::string>{"file url = hospital/patients/patient.7",
                                      "LOCAL PUT\n Optional(\"{\"patientId\":\"8\"}\")",
                                      "LOCAL POST\n nil", "file url = list_ward_3_bed_2"}));
}

TEST_F(RestRequestTest, ALeadingSlashReadsTheSameResourceAndNeverLeavesTheRoot) {
  const std::string record = R"({"entityName": "Patient", "patientId": "7"})";
  writeFile(resources.path() / "hospital/patients/patient.7.json", record);
  writeFile(resources.path() / "list_ward_3.json", R"({"list": true})");
  DataSourceManager::setLocalMode(true);
  platform::ConsoleCapture console;
  Outcome plain, slash, slashes, query;
  RestRequest::GET("hospital/patients/patient.7").execute()->responseString(plain.stringHandler());
  RestRequest::GET("/hospital/patients/patient.7").execute()->responseString(slash.stringHandler());
  RestRequest::PUT("//hospital/patients/patient.7", "{}")
      .execute()
      ->responseString(slashes.stringHandler());
  RestRequest::GET("/list?ward=3").execute()->responseString(query.stringHandler());
  for (Outcome* outcome : {&plain, &slash, &slashes}) {
    ASSERT_TRUE(outcome->wait());
    EXPECT_EQ(outcome->calls, 1);
    EXPECT_FALSE(outcome->error) << outcome->error->description();
    EXPECT_EQ(outcome->text.value_or(""), record);
    ASSERT_TRUE(outcome->response);
    EXPECT_EQ(outcome->response->url, slash.response->url) << "the very same file";
  }
  ASSERT_TRUE(query.wait());
  EXPECT_EQ(query.text.value_or(""), R"({"list": true})");
  EXPECT_TRUE(console.contains("file url = /hospital/patients/patient.7"));
}

TEST_F(RestRequestTest, LocalNamesThatLeaveTheRootOrAreMissingFailOnce) {
  writeFile(resources.path() / "../outside.json", "{}");
  DataSourceManager::setLocalMode(true);
  platform::ConsoleCapture console;
  Outcome climbing, rootedClimb, absolute, missing;
  RestRequest::GET("../outside").execute()->responseString(climbing.stringHandler());
  RestRequest::GET("/../outside").execute()->responseString(rootedClimb.stringHandler());
  RestRequest::GET("//hospital/x").execute()->responseString(absolute.stringHandler());
  RestRequest::GET("hospital/patients/patient.99")
      .execute()
      ->responseString(missing.stringHandler());
  for (Outcome* outcome : {&climbing, &rootedClimb, &absolute, &missing}) {
    ASSERT_TRUE(outcome->wait());
    EXPECT_EQ(outcome->calls, 1);
    ASSERT_TRUE(outcome->error);
    EXPECT_EQ(outcome->error->domain(), error_domain::kResources);
    EXPECT_FALSE(outcome->text.has_value());
  }
  EXPECT_EQ(climbing.error->code(), TamberNetworking::Response::kOutsideRoot);
  EXPECT_EQ(rootedClimb.error->code(), TamberNetworking::Response::kOutsideRoot);
  EXPECT_EQ(absolute.error->code(), TamberNetworking::Response::kNotFound)
      << "read under the root, where there is no such file";
  EXPECT_EQ(missing.error->code(), TamberNetworking::Response::kNotFound);
  std::filesystem::remove(resources.path() / "../outside.json");
}

TEST_F(RestRequestTest, AURLThatDoesNotParseIsNeverSent) {
  // Nothing listens on these; a request that went out would fail differently.
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"http://", "hospital/patients/patient.1"},
      {"http://127.0.0.1:9", "hospital/patients/patient 1"},
      {"http://127.0.0.1:9", std::string("hospital/\n/x")},
      {"not a url", "x"},
  };
  for (const auto& [base, path] : cases) {
    DataSourceManager::setBaseURLString(base);
    Outcome outcome;
    RestRequest::PUT(path, "{}").execute()->validate()->responseString(outcome.stringHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_TRUE(outcome.error) << base << path;
    EXPECT_EQ(outcome.error->domain(), error_domain::kURL);
    EXPECT_EQ(outcome.error->code(), TamberNetworking::Request::kBadURL) << base << path;
    EXPECT_FALSE(outcome.response.has_value());
  }
}

}  // namespace
