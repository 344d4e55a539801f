// The library's own version information, read from the file by version queries.
#include <kwlib63/platform/versioninfo.h>

KW_VERSION_INFO(KW_VERSION(KW_VERSION_MAJOR, KW_VERSION_MINOR, KW_VERSION_PATCH, 0),
                KW_VERSION(KW_VERSION_MAJOR, KW_VERSION_MINOR, KW_VERSION_PATCH, 0), 0, 0x0409, 1200,
                "CompanyName\0Tormel\0"
                "FileDescription\0kwlib63 library for desktop applications\0"
                "InternalName\0kwlib63\0"
                "ProductName\0kwlib63\0"
                "FileVersion\0" KW_VERSION_TEXT "\0"
                "ProductVersion\0" KW_VERSION_TEXT "\0");
