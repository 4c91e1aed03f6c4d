#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds and runs a host program
# with nothing but `pkg-config --cflags --libs orbelin-data`, as a Makefile
# host would.
#   pkg_config_consumer.sh BUILD_DIR CXX [EXTRA_FLAGS...]
set -euo pipefail
build=$1
cxx=$2
shift 2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
pc="$scratch/prefix/lib/pkgconfig/orbelin-data.pc"
[[ -f $pc ]] || pc=$(find "$scratch/prefix" -name orbelin-data.pc | head -n 1)
[[ -f $pc ]] || { echo "orbelin-data.pc was not installed"; exit 1; }
# The package file sits beside the CMake package.
[[ -d $(dirname "$pc")/../cmake/OrbelinData ]] || { echo "not beside the CMake package"; exit 1; }
# Moved after installing: the file must find its tree by itself.
mv "$scratch/prefix" "$scratch/moved"
export PKG_CONFIG_PATH=$(dirname "${pc/prefix/moved}")

grep -q '^Requires.private: .*libcurl' "${pc/prefix/moved}" || { echo "no Requires.private"; exit 1; }
pkg-config --exists --print-errors orbelin-data

cat >"$scratch/host.cpp" <<'CPP'
#include <iostream>
#include <string>
#include <vector>

#include "orbelin/networking/data_source_manager.h"
#include "orbelin/networking/json.h"
#include "orbelin/platform/console.h"
#include "orbelin/rest/rest_request.h"

int main() {
  std::vector<std::string> lines;
  orbelin::platform::Console::setSink([&](std::string_view line) { lines.emplace_back(line); });
  auto json = TamberNetworking::JSON::parse(R"({"patient": {"id": 12}})");
  if (!json || (*json)["patient"]["id"].intValue() != 12) return 1;
  auto request = orbelin::RestRequest::GET("/hospital/a");
  auto url = request.urlRequestWithBaseURLString("https://service.example");
  if (url.url != "https://service.example/hospital/a") return 2;
  orbelin::platform::Console::log("host line");
  if (lines != std::vector<std::string>{"host line"}) return 3;
  bool pinRefused = !TamberNetworking::DataSourceManager::setPinnedPublicKey("sha256//x");
  std::cout << "host ok " << pinRefused << "\n";
  return 0;
}
CPP
# shellcheck disable=SC2046
"$cxx" -std=c++20 "$@" -o "$scratch/host" "$scratch/host.cpp" $(pkg-config --cflags --libs orbelin-data)
output=$("$scratch/host")
[[ $output == "host ok 1" ]] || { echo "host printed: $output"; exit 1; }
echo "consumer built with pkg-config and ran"
