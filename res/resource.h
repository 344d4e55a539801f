// The library's string resources: their ids, and the tables of each language
// (French, the default, and English), registered for the library's module when
// it is loaded.
#pragma once

#include <span>

#include <kwlib63/framework/export.h>
#include <kwlib63/platform/resource.h>

// Exception texts.
inline constexpr UINT IDS_EXCEPCIO_MEMORIA = 18000;
inline constexpr UINT IDS_EXCEPCIO_NOSUPORTADA = 18001;
inline constexpr UINT IDS_EXCEPCIO = 18002;
inline constexpr UINT IDS_EXCEPCIO_MISSATGE = 18003;

// Unit names, abbreviations and menu labels.
inline constexpr UINT IDS_UNITAT_MM = 20350;
inline constexpr UINT IDS_UNITAT_CM = 20351;
inline constexpr UINT IDS_UNITAT_IN = 20352;
inline constexpr UINT IDS_UNITAT_FT = 20353;
inline constexpr UINT IDS_UNITAT_MM_ABREV = 20354;
inline constexpr UINT IDS_UNITAT_CM_ABREV = 20355;
inline constexpr UINT IDS_UNITAT_IN_ABREV = 20356;
inline constexpr UINT IDS_UNITAT_FT_ABREV = 20357;
inline constexpr UINT IDS_UNITAT_MM_MENU = 20358;
inline constexpr UINT IDS_UNITAT_CM_MENU = 20359;
inline constexpr UINT IDS_UNITAT_IN_MENU = 20360;
inline constexpr UINT IDS_UNITAT_FT_MENU = 20361;
inline constexpr UINT IDS_UNITAT_M = 20362;
inline constexpr UINT IDS_UNITAT_M_ABREV = 20363;
inline constexpr UINT IDS_UNITAT_M_MENU = 20364;
inline constexpr UINT IDS_UNITAT_PT = 20365;
inline constexpr UINT IDS_UNITAT_PT_ABREV = 20366;
inline constexpr UINT IDS_UNITAT_PT_MENU = 20367;
inline constexpr UINT IDS_UNITAT_YD = 20368;
inline constexpr UINT IDS_UNITAT_YD_ABREV = 20369;
inline constexpr UINT IDS_UNITAT_YD_MENU = 20370;

// Button captions.
inline constexpr UINT IDS_BOTO_ACCEPTAR = 22050;
inline constexpr UINT IDS_BOTO_CANCELLAR = 22051;
inline constexpr UINT IDS_BOTO_APLICAR = 22052;
inline constexpr UINT IDS_BOTO_AJUDA = 22053;
inline constexpr UINT IDS_BOTO_EXPLORAR = 22054;
inline constexpr UINT IDS_BOTO_TANCAR = 22055;
inline constexpr UINT IDS_BOTO_REFRESCAR = 22056;
inline constexpr UINT IDS_BOTO_OBRIR = 22057;
inline constexpr UINT IDS_BOTO_SI = 22058;
inline constexpr UINT IDS_BOTO_NO = 22059;
inline constexpr UINT IDS_BOTO_AUTOMATIC = 22060;
inline constexpr UINT IDS_BOTO_ALTRES = 22061;
inline constexpr UINT IDS_BOTO_SEGUENT = 22062;
inline constexpr UINT IDS_BOTO_ANTERIOR = 22063;

// The progress window's buttons and times (the times take one %s each).
inline constexpr UINT IDS_BOTO_PAUSA = 22064;
inline constexpr UINT IDS_BOTO_REPRENDRE = 22065;
inline constexpr UINT IDS_PROGRES_TEMPS = 22066;
inline constexpr UINT IDS_PROGRES_FINAL = 22067;

// The language that 0 and 0x0400 resolve to in the library's module.
inline constexpr LANGID KW_DEFAULT_LANGUAGE = LANG_FR_FR;

namespace kwres {
// The library's tables, one per language.
KW_API std::span<const KW_STRINGTABLE> LibraryStringTables();
}  // namespace kwres
