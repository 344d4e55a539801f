// JSON values, readers and writers (jsoncpp), offered as part of kwlib63.
#pragma once
#include <json/json.h>
