// Unicode normalisation, case mapping and character properties (utf8proc),
// offered as part of kwlib63.
#pragma once
#include <utf8proc.h>
