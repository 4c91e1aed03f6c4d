#include "orbelin/model2/entities.h"

#include "model2/entity_definition.h"
#include "orbelin/platform/console.h"

// The twenty-one entity classes, each defined from its property table. The
// definitions are generated from model/recovery_path.toml, with what is not a
// property: the service identifier and the relations left out of the
// dictionary form.
namespace orbelin::model2 {

#include "model2/entity_definitions.inc"

namespace detail {

void describeEntities(graph::ModelBuilder& builder) {
#define ORBELIN_MODEL2_DESCRIBE_ENTITY_(Entity) Slots<Entity##2>::describe(builder);
  ORBELIN_MODEL2_FOR_EACH_ENTITY(ORBELIN_MODEL2_DESCRIBE_ENTITY_)
#undef ORBELIN_MODEL2_DESCRIBE_ENTITY_
}

bool slotsMatch(const graph::ManagedObjectModel& model) {
  bool all = true;
  for (const auto& entity : model.entities()) {
    auto prototype = entity->makeObject();
#define ORBELIN_MODEL2_MATCH_ENTITY_(Entity)                                               \
  if (dynamic_cast<Entity##2 *>(prototype.get()) && !Slots<Entity##2>::matches(*entity)) { \
    platform::Console::log("OrbelinData: entity " + entity->name() +                       \
                           " does not match the table of class " #Entity "2");             \
    all = false;                                                                           \
  }
    ORBELIN_MODEL2_FOR_EACH_ENTITY(ORBELIN_MODEL2_MATCH_ENTITY_)
#undef ORBELIN_MODEL2_MATCH_ENTITY_
  }
  return all;
}

}  // namespace detail
}  // namespace orbelin::model2
