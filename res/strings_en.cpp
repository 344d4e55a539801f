// The English string table.
#include <kwlib63/res/resource.h>

namespace kwres {

extern const KW_STRINGRESOURCE kStringsEnglish[];
extern const std::size_t kStringsEnglishCount;

const KW_STRINGRESOURCE kStringsEnglish[] = {
    {IDS_EXCEPCIO_MEMORIA, L"There is not enough memory to complete the operation."},
    {IDS_EXCEPCIO_NOSUPORTADA, L"The operation is not supported."},
    {IDS_EXCEPCIO, L"Exception no. %i (%s) occurred in module [%s]."},
    {IDS_EXCEPCIO_MISSATGE, L"Exception no. %i (%s) occurred in module [%s]: %s."},

    {IDS_UNITAT_MM, L"millimetres"},
    {IDS_UNITAT_CM, L"centimetres"},
    {IDS_UNITAT_IN, L"inches"},
    {IDS_UNITAT_FT, L"feet"},
    {IDS_UNITAT_MM_ABREV, L"mm"},
    {IDS_UNITAT_CM_ABREV, L"cm"},
    {IDS_UNITAT_IN_ABREV, L"in"},
    {IDS_UNITAT_FT_ABREV, L"ft"},
    {IDS_UNITAT_MM_MENU, L"Millimetres"},
    {IDS_UNITAT_CM_MENU, L"Centimetres"},
    {IDS_UNITAT_IN_MENU, L"Inches"},
    {IDS_UNITAT_FT_MENU, L"Feet"},
    {IDS_UNITAT_M, L"metres"},
    {IDS_UNITAT_M_ABREV, L"m"},
    {IDS_UNITAT_M_MENU, L"Metres"},
    {IDS_UNITAT_PT, L"points"},
    {IDS_UNITAT_PT_ABREV, L"pt"},
    {IDS_UNITAT_PT_MENU, L"Points"},
    {IDS_UNITAT_YD, L"yards"},
    {IDS_UNITAT_YD_ABREV, L"yd"},
    {IDS_UNITAT_YD_MENU, L"&Yards"},

    {IDS_BOTO_ACCEPTAR, L"&OK"},
    {IDS_BOTO_CANCELLAR, L"Cancel"},
    {IDS_BOTO_APLICAR, L"&Apply"},
    {IDS_BOTO_AJUDA, L"&Help"},
    {IDS_BOTO_EXPLORAR, L"&Browse..."},
    {IDS_BOTO_TANCAR, L"&Close"},
    {IDS_BOTO_REFRESCAR, L"&Refresh"},
    {IDS_BOTO_OBRIR, L"&Open"},
    {IDS_BOTO_SI, L"Yes"},
    {IDS_BOTO_NO, L"No"},
    {IDS_BOTO_AUTOMATIC, L"Automatic"},
    {IDS_BOTO_ALTRES, L"Others..."},
    {IDS_BOTO_SEGUENT, L"&Next"},
    {IDS_BOTO_ANTERIOR, L"&Previous"},

    {IDS_BOTO_PAUSA, L"&Pause"},
    {IDS_BOTO_REPRENDRE, L"&Resume"},
    {IDS_PROGRES_TEMPS, L"Elapsed: %s"},
    {IDS_PROGRES_FINAL, L"Estimated end: %s"},
};
const std::size_t kStringsEnglishCount = std::size(kStringsEnglish);

}  // namespace kwres
