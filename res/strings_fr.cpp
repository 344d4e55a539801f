// The French string table, the library's default language.
#include <kwlib63/res/resource.h>

namespace kwres {

extern const KW_STRINGRESOURCE kStringsFrench[];
extern const std::size_t kStringsFrenchCount;

const KW_STRINGRESOURCE kStringsFrench[] = {
    {IDS_EXCEPCIO_MEMORIA, L"Il n'y a pas assez de mémoire pour completer l'opération."},
    {IDS_EXCEPCIO_NOSUPORTADA, L"L'opération non supportée."},
    {IDS_EXCEPCIO, L"Il y a eu une exception nº%i (%s) dans le module [%s]."},
    {IDS_EXCEPCIO_MISSATGE, L"Il y a eu une exception nº%i (%s) dans le module [%s]: %s."},

    {IDS_UNITAT_MM, L"millimètres"},
    {IDS_UNITAT_CM, L"centimètres"},
    {IDS_UNITAT_IN, L"pouces"},
    {IDS_UNITAT_FT, L"feet"},  // English in the French table, as shipped
    {IDS_UNITAT_MM_ABREV, L"mm"},
    {IDS_UNITAT_CM_ABREV, L"cm"},
    {IDS_UNITAT_IN_ABREV, L"in"},
    {IDS_UNITAT_FT_ABREV, L"ft"},
    {IDS_UNITAT_MM_MENU, L"Millimètres"},
    {IDS_UNITAT_CM_MENU, L"Centimètres"},
    {IDS_UNITAT_IN_MENU, L"Pouces"},
    {IDS_UNITAT_FT_MENU, L"Pieds"},
    {IDS_UNITAT_M, L"mètres"},
    {IDS_UNITAT_M_ABREV, L"m"},
    {IDS_UNITAT_M_MENU, L"Mètres"},
    {IDS_UNITAT_PT, L"points"},
    {IDS_UNITAT_PT_ABREV, L"pt"},
    {IDS_UNITAT_PT_MENU, L"Points"},
    {IDS_UNITAT_YD, L"yards"},
    {IDS_UNITAT_YD_ABREV, L"yd"},
    {IDS_UNITAT_YD_MENU, L"&Yards"},

    {IDS_BOTO_ACCEPTAR, L"&Accepter"},
    {IDS_BOTO_CANCELLAR, L"Annuler"},
    {IDS_BOTO_APLICAR, L"A&ppliquer"},
    {IDS_BOTO_AJUDA, L"A&ide"},
    {IDS_BOTO_EXPLORAR, L"E&xplorer..."},
    {IDS_BOTO_TANCAR, L"&Fermer"},
    {IDS_BOTO_REFRESCAR, L"&Raffraichir"},
    {IDS_BOTO_OBRIR, L"&Ouvrir"},
    {IDS_BOTO_SI, L"Oui"},
    {IDS_BOTO_NO, L"Non"},
    {IDS_BOTO_AUTOMATIC, L"Automatique"},
    {IDS_BOTO_ALTRES, L"Autres..."},
    {IDS_BOTO_SEGUENT, L"&Suivant"},
    {IDS_BOTO_ANTERIOR, L"&Précédent"},

    {IDS_BOTO_PAUSA, L"&Pause"},
    {IDS_BOTO_REPRENDRE, L"&Reprendre"},
    {IDS_PROGRES_TEMPS, L"Temps écoulé : %s"},
    {IDS_PROGRES_FINAL, L"Fin estimée : %s"},
};
const std::size_t kStringsFrenchCount = std::size(kStringsFrench);

}  // namespace kwres
