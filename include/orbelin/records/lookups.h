#pragma once

// The five lookup records that hang off a patient: Allergy, Barrier,
// Diagnosis, Medication and MedicalProblem, each an id (never set by an
// import), a name, and the patients that carry it. `create(name)` always
// inserts a new record with that name and no id; the patient import makes
// one per text it reads, equal texts included. Returns null only when the
// stack has no context. See FirstGenerationRecord for ownership and threads.
//
// The classes are declared whole in model/records.toml (they have nothing
// but their properties and create); this header brings in what the build
// writes from it.
#include "orbelin/records/lookups_properties.h"
