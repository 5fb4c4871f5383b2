#pragma once

#include <nlohmann/json.hpp>

#include "Output.h"

using Rows = nlohmann::ordered_json;
