#pragma once

// Every first-generation record, its enumerations and its model.
#include "orbelin/records/enums.h"
#include "orbelin/records/lookups.h"
#include "orbelin/records/model.h"
#include "orbelin/records/patient.h"
#include "orbelin/records/staff.h"
#include "orbelin/records/task.h"
