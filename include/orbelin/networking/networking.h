#pragma once

// The whole networking library in one include.
#include "orbelin/networking/data_source.h"
#include "orbelin/networking/data_source_manager.h"
#include "orbelin/networking/json.h"
#include "orbelin/networking/parameter_encoding.h"
#include "orbelin/networking/request.h"
#include "orbelin/networking/response.h"
#include "orbelin/networking/url_request.h"
