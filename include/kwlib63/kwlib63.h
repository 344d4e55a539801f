// Everything kwlib63 offers, in one header. Left out are the folders' own
// plumbing (text conversion and formatting, sort and copy helpers, the platform
// layer's internals, the vector engines): installed, and each compiles alone, but
// not part of what clients are offered.
#pragma once

#include <kwlib63/json.h>
#include <kwlib63/utf8proc.h>

#include <kwlib63/framework/array.h>
#include <kwlib63/framework/controls.h>
#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/ctime.h>
#include <kwlib63/framework/dataexchange.h>
#include <kwlib63/framework/dc.h>
#include <kwlib63/framework/dumpcontext.h>
#include <kwlib63/framework/gdi.h>
#include <kwlib63/framework/gdiobject.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/file.h>
#include <kwlib63/framework/menu.h>
#include <kwlib63/framework/modulestate.h>
#include <kwlib63/framework/object.h>
#include <kwlib63/framework/syncobject.h>
#include <kwlib63/framework/winapp.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/framework/stringlist.h>
#include <kwlib63/framework/wnd.h>

#include <kwlib63/platform/atomicfile.h>
#include <kwlib63/platform/clock.h>
#include <kwlib63/platform/codepage.h>
#include <kwlib63/platform/dde.h>
#include <kwlib63/platform/debugoutput.h>
#include <kwlib63/platform/event.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/filemapping.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/locale.h>
#include <kwlib63/platform/memory.h>
#include <kwlib63/platform/messagebox.h>
#include <kwlib63/platform/messagequeue.h>
#include <kwlib63/platform/module.h>
#include <kwlib63/platform/netshare.h>
#include <kwlib63/platform/osversion.h>
#include <kwlib63/platform/pathparts.h>
#include <kwlib63/platform/process.h>
#include <kwlib63/platform/profile.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/platform/resource.h>
#include <kwlib63/platform/security.h>
#include <kwlib63/platform/service.h>
#include <kwlib63/platform/shell.h>
#include <kwlib63/platform/syscolor.h>
#include <kwlib63/platform/sysmessage.h>
#include <kwlib63/platform/thread.h>
#include <kwlib63/platform/versioninfo.h>
#include <kwlib63/platform/xmlnode.h>

#include <kwlib63/res/resource.h>

#include <kwlib63/core/errorreport.h>
#include <kwlib63/core/excepcio.h>
#include <kwlib63/core/frame.h>
#include <kwlib63/core/item.h>
#include <kwlib63/core/loadstring.h>
#include <kwlib63/core/moxelmessagebox.h>
#include <kwlib63/core/valueitem.h>

#include <kwlib63/progress/comptatemps.h>
#include <kwlib63/progress/indicadorestat.h>

#include <kwlib63/containers/arbre.h>
#include <kwlib63/containers/crosslist.h>
#include <kwlib63/containers/hash.h>
#include <kwlib63/containers/llista.h>
#include <kwlib63/containers/llistacircular.h>
#include <kwlib63/containers/pila.h>
#include <kwlib63/containers/taula.h>

#include <kwlib63/persist/base64.h>
#include <kwlib63/persist/buffercircular.h>
#include <kwlib63/persist/compression.h>
#include <kwlib63/persist/crc32.h>
#include <kwlib63/persist/csv_parser.h>
#include <kwlib63/persist/filebuffer.h>
#include <kwlib63/persist/filemapping.h>
#include <kwlib63/persist/mapviewoffile.h>
#include <kwlib63/persist/serializer.h>

#include <kwlib63/settings/multistring.h>
#include <kwlib63/settings/blocopcions.h>
#include <kwlib63/settings/carpetaregistry.h>
#include <kwlib63/settings/fitxerini.h>
#include <kwlib63/settings/fitxersettings.h>
#include <kwlib63/settings/fitxersettingsxml.h>
#include <kwlib63/settings/infoversio.h>
#include <kwlib63/settings/pathstring.h>
#include <kwlib63/settings/stringex.h>

#include <kwlib63/units/taulaconv.h>
#include <kwlib63/units/unitats.h>

#include <kwlib63/system/cmdredirect.h>
#include <kwlib63/system/conexiodde.h>
#include <kwlib63/system/ddeinterface.h>
#include <kwlib63/system/iteradorfitxers.h>
#include <kwlib63/system/osversioninfo.h>
#include <kwlib63/system/servicemanager.h>
#include <kwlib63/system/sharingmanager.h>

#include <kwlib63/ui/appframe.h>
#include <kwlib63/ui/dcattribselector.h>
#include <kwlib63/ui/drawitemhelper.h>
