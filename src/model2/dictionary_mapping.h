#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "orbelin/graph/context.h"
#include "orbelin/graph/managed_object.h"
#include "orbelin/model2/managed_object_ex.h"

// The two directions of the dictionary form, for any object of the graph
// (objects whose class is not an NSManagedObjectEx have no identifier, no
// ignored relationships and their entity's name as class name).
//
// Thread safety: as the objects': the caller is on a thread that may use
// their context.
namespace orbelin::model2::detail {

// Prefix of every console line of the mapping.
inline constexpr std::string_view kReaderPrefix = "NSManagedObjectEx:setPropertiesFromDictionary: ";

Dictionary writeDictionary(const graph::ManagedObject& object);

// Writes text::prettyJsonString() of writeDictionary(object) into `buffer`
// from offset `start` on, straight from the graph without building the
// dictionary (what `buffer` held from `start` on is overwritten; it may grow,
// and keeps unspecified characters past the text). The offset just past the
// text; absent when JSON cannot hold one of the values.
std::optional<std::size_t> writePrettyJson(const graph::ManagedObject& object, std::string& buffer,
                                           std::size_t start);

// Fills `object` from `dictionary`; `depth` is the dictionary's nesting level
// (the top level is 0).
void readDictionary(graph::ManagedObject& object, const Dictionary& dictionary, int depth);

// A new object of the entity the dictionary names, inserted into `context`
// and filled; null (with a console line) when the dictionary names no entity
// of the context's model, or is nested too deep.
graph::ManagedObject* createFromDictionary(const Dictionary& dictionary,
                                           graph::ManagedObjectContext& context, int depth);

}  // namespace orbelin::model2::detail
