#include "demo.h"
#include "orbelin/text/json_text.h"

namespace orbelin::demo {

// The demo prints replies with the layer's own pretty writer, so numbers look
// the same here as in every text the layer writes. A parsed reply always has a
// text form; "null" only stands in for values built in code that JSON cannot hold.
std::string prettyJSON(const boost::json::value& value) {
  return text::prettyJsonString(value).value_or("null");
}

}  // namespace orbelin::demo
