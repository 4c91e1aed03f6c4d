#pragma once

// Every first-generation store.
#include "orbelin/stores/notification_store.h"
#include "orbelin/stores/patient_store.h"
#include "orbelin/stores/shift_store.h"
#include "orbelin/stores/staff_store.h"
#include "orbelin/stores/task_store.h"
