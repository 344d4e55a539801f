// The one mark of the library's interface. The libraries are built with hidden
// symbols; what a header declares with KW_API is what a program may link to.
#pragma once

#define KW_API __attribute__((visibility("default")))
