// The DDE calls that go over D-Bus (see dde.h): the server side of an instance,
// which answers the org.kwlib63.Dde methods, and the client side, which calls them.
// The handles they pass around live in ddetables.h.
#include <kwlib63/platform/dde.h>

#include <gio/gio.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/messagequeue.h>

#include "ddetables.h"
#include "glibptr.h"
#include "openbus.h"
#include "processchoice.h"

namespace kwplat {
using namespace dde;
namespace {

constexpr char kPrefix[] = "org.kwlib63.dde.s";
constexpr char kNamespace[] = "org.kwlib63.dde";
constexpr char kPath[] = "/org/kwlib63/Dde";
constexpr char kInterface[] = "org.kwlib63.Dde";
constexpr int kConnectTimeout = 10000;

constexpr char kIntrospection[] =
    "<node><interface name='org.kwlib63.Dde'>"
    "<method name='Connect'><arg type='s' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='u' direction='out'/></method>"
    "<method name='Execute'><arg type='u' direction='in'/><arg type='ay' direction='in'/>"
    "<arg type='u' direction='out'/></method>"
    "<method name='Request'><arg type='u' direction='in'/><arg type='s' direction='in'/><arg type='u' direction='in'/>"
    "<arg type='b' direction='out'/><arg type='ay' direction='out'/></method>"
    "<method name='Poke'><arg type='u' direction='in'/><arg type='s' direction='in'/><arg type='u' direction='in'/>"
    "<arg type='ay' direction='in'/><arg type='u' direction='out'/></method>"
    "<method name='Disconnect'><arg type='u' direction='in'/></method>"
    "</interface></node>";

ProcessChoice g_bus("KWLIB63_DDE_BUS", "");

// An instance with its connection.
struct BusInstance : Instance {
  GMainContextPtr context;  // the initialising thread's queue; outlives the connection
  GObjectPtr<GDBusConnection> bus;
  std::string uniqueName;
  guint object = 0;
  guint registrations = 0;
  std::vector<std::wstring> services;  // registered, folded
  DWORD nextTransaction = 0;
};

// Every instance is made here, so each one the tables hold is a BusInstance.
std::shared_ptr<BusInstance> FindBusInstance(DWORD id) {
  return std::static_pointer_cast<BusInstance>(FindInstance(id));
}

// The bus name of a service: see dde.h.
std::string BusName(const std::wstring& service) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string name = kPrefix;
  for (unsigned char c : kwfw::WideToUtf8(kwfw::FoldCase(service))) {
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      name += static_cast<char>(c);
    } else {
      name += '_';
      name += kHex[c >> 4];
      name += kHex[c & 15];
    }
  }
  return name;
}

// The service a bus name stands for; empty for a name that is not one.
std::wstring ServiceOf(const std::string& name) {
  if (name.rfind(kPrefix, 0) != 0) return {};
  std::string bytes;
  for (std::size_t i = sizeof kPrefix - 1; i < name.size(); ++i) {
    if (name[i] == '_' && i + 2 < name.size()) {
      bytes += static_cast<char>(std::strtol(name.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    } else {
      bytes += name[i];
    }
  }
  return kwfw::Utf8ToWide(bytes);
}

GDBusInterfaceInfo* InterfaceInfo() {
  static GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kIntrospection, nullptr);
  return node->interfaces[0];
}

// Calls a method and waits for its reply, pumping the instance's context
// meanwhile: a server of the same thread answers from there.
// `parameters` is taken when floating, else borrowed; `error` is set on failure.
GVariantPtr CallAndWait(BusInstance& instance, const char* destination, const char* path, const char* interface,
                        const char* method, GVariant* parameters, const char* replyType, int timeout,
                        GErrorPtr& error) {
  struct Pending {
    GVariantPtr reply;
    GErrorPtr error;
    std::atomic<bool> done{false};
  } pending;
  g_main_context_push_thread_default(instance.context.get());
  g_dbus_connection_call(
      instance.bus.get(), destination, path, interface, method, parameters, G_VARIANT_TYPE(replyType),
      G_DBUS_CALL_FLAGS_NONE, timeout, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* p = static_cast<Pending*>(data);
        p->reply.reset(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, ErrorOut(p->error)));
        p->done = true;
      },
      &pending);
  g_main_context_pop_thread_default(instance.context.get());
  while (!pending.done) g_main_context_iteration(instance.context.get(), TRUE);
  if (pending.error != nullptr) error = std::move(pending.error);
  return std::move(pending.reply);
}

// What a failed transaction leaves as the error.
UINT TransactionError(const GError* error, UINT type) {
  if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY)) {
    return type == XTYP_REQUEST ? DMLERR_DATAACKTIMEOUT : type == XTYP_POKE ? DMLERR_POKEACKTIMEOUT
                                                                             : DMLERR_EXECACKTIMEOUT;
  }
  if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT) ||
      g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_DISCONNECTED) ||
      g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED)) {
    return DMLERR_SERVER_DIED;
  }
  return DMLERR_SYS_ERROR;
}

GVariant* Bytes(const std::vector<BYTE>& bytes) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
}

std::vector<BYTE> BytesOf(GVariant* array) {
  gsize size = 0;
  const auto* data = static_cast<const BYTE*>(g_variant_get_fixed_array(array, &size, 1));
  return std::vector<BYTE>(data, data + size);
}

// What an execute, request or poke reply means: the data or flags handle to
// return, or null with the instance's error set.
HDDEDATA Outcome(BusInstance& instance, UINT type, UINT format, HSZ item, GVariant* reply, const GError* error,
                 DWORD* flagsOut) {
  if (reply == nullptr) {
    instance.lastError = TransactionError(error, type);
    return nullptr;
  }
  if (type == XTYP_REQUEST) {
    gboolean ok = FALSE;
    g_variant_get_child(reply, 0, "b", &ok);
    std::vector<BYTE> bytes = BytesOf(GVariantPtr(g_variant_get_child_value(reply, 1)).get());
    if (!ok) {
      instance.lastError = DMLERR_NOTPROCESSED;
      return nullptr;
    }
    return NewData(instance.id, std::move(bytes), format, item, false);
  }
  guint32 flags = 0;
  g_variant_get(reply, "(u)", &flags);
  if (flagsOut != nullptr) *flagsOut = flags;
  if ((flags & DDE_FACK) == 0) {
    instance.lastError = (flags & DDE_FBUSY) != 0 ? DMLERR_BUSY : DMLERR_NOTPROCESSED;
    return nullptr;
  }
  return reinterpret_cast<HDDEDATA>(static_cast<std::uintptr_t>(TRUE));
}

// The server's side of the methods: one function each, run in the instance's
// context. GDBus has checked the arguments against kIntrospection.
void OnConnect(BusInstance& instance, const char* sender, GVariant* parameters, GDBusMethodInvocation* invocation) {
  const PFNCALLBACK callback = instance.callback;
  const char* service = nullptr;
  const char* topic = nullptr;
  g_variant_get(parameters, "(&s&s)", &service, &topic);
  const std::wstring wideService = kwfw::Utf8ToWide(service);
  guint32 number = 0;
  bool offered = false;
  for (const std::wstring& s : instance.services) offered = offered || s == kwfw::FoldCase(wideService);
  if (offered && (instance.flags & APPCMD_CLIENTONLY) == 0) {
    HSZ hszTopic = AddAtom(kwfw::Utf8ToWide(topic));
    HSZ hszService = AddAtom(wideService);
    if (callback(XTYP_CONNECT, 0, nullptr, hszTopic, hszService, nullptr, 0, 0) != nullptr) {
      HCONV conversation = NewConversation({instance.id, sender, 0, hszService, hszTopic});
      number = static_cast<guint32>(Key(conversation));
      if ((instance.flags & CBF_SKIP_CONNECT_CONFIRMS) == 0) {
        callback(XTYP_CONNECT_CONFIRM, 0, conversation, hszTopic, hszService, nullptr, 0, 0);
      }
    } else {
      ReleaseAtom(hszTopic);
      ReleaseAtom(hszService);
    }
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", number));
}

// The conversation the first argument names when it is the instance's with
// `sender`, else null.
HCONV KnownConversation(const BusInstance& instance, const char* sender, GVariant* parameters,
                        Conversation& conversation) {
  guint32 number = 0;
  g_variant_get_child(parameters, 0, "u", &number);
  const auto handle = reinterpret_cast<HCONV>(static_cast<std::uintptr_t>(number));
  const bool known =
      FindConversation(handle, conversation) && conversation.instance == instance.id && conversation.peer == sender;
  return known ? handle : nullptr;
}

void OnDisconnect(BusInstance& instance, const char* sender, GVariant* parameters,
                  GDBusMethodInvocation* invocation) {
  Conversation conversation;
  if (const HCONV handle = KnownConversation(instance, sender, parameters, conversation)) {
    if ((instance.flags & CBF_SKIP_DISCONNECTS) == 0) {
      instance.callback(XTYP_DISCONNECT, 0, handle, nullptr, nullptr, nullptr, 0, 0);
    }
    DropConversation(handle);
  }
  g_dbus_method_invocation_return_value(invocation, nullptr);
}

// Execute and Poke: the callback is handed the bytes (and a poke's item), and the
// flags of its answer go back.
void Deliver(BusInstance& instance, const char* sender, GVariant* parameters, GDBusMethodInvocation* invocation,
             UINT type, const char* item, guint32 format, GVariant* array) {
  guint32 flags = DDE_FNOTPROCESSED;
  Conversation conversation;
  if (const HCONV handle = KnownConversation(instance, sender, parameters, conversation)) {
    HSZ hszItem = item != nullptr ? AddAtom(kwfw::Utf8ToWide(item)) : nullptr;
    HDDEDATA data = NewData(instance.id, BytesOf(array), format, hszItem, false);
    const HDDEDATA result = instance.callback(type, format, handle, conversation.topic, hszItem, data, 0, 0);
    flags = static_cast<guint32>(Key(result));
    DdeFreeDataHandle(data);
    if (hszItem != nullptr) ReleaseAtom(hszItem);
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", flags));
}

void OnExecute(BusInstance& instance, const char* sender, GVariant* parameters, GDBusMethodInvocation* invocation) {
  const GVariantPtr array(g_variant_get_child_value(parameters, 1));
  Deliver(instance, sender, parameters, invocation, XTYP_EXECUTE, nullptr, 0, array.get());
}

void OnPoke(BusInstance& instance, const char* sender, GVariant* parameters, GDBusMethodInvocation* invocation) {
  const char* item = nullptr;
  guint32 format = 0;
  g_variant_get_child(parameters, 1, "&s", &item);
  g_variant_get_child(parameters, 2, "u", &format);
  const GVariantPtr array(g_variant_get_child_value(parameters, 3));
  Deliver(instance, sender, parameters, invocation, XTYP_POKE, item, format, array.get());
}

void OnRequest(BusInstance& instance, const char* sender, GVariant* parameters, GDBusMethodInvocation* invocation) {
  const char* item = nullptr;
  guint32 format = 0;
  g_variant_get_child(parameters, 1, "&s", &item);
  g_variant_get_child(parameters, 2, "u", &format);
  std::vector<BYTE> bytes;
  bool answered = false;
  Conversation conversation;
  if (const HCONV handle = KnownConversation(instance, sender, parameters, conversation)) {
    HSZ hszItem = AddAtom(kwfw::Utf8ToWide(item));
    const HDDEDATA result = instance.callback(XTYP_REQUEST, format, handle, conversation.topic, hszItem, nullptr, 0, 0);
    bool appOwned = false;
    answered = result != nullptr && DataBytes(result, bytes, &appOwned);
    // The data goes to the client; the handle is the library's to free unless
    // the application keeps it.
    if (answered && !appOwned) DdeFreeDataHandle(result);
    ReleaseAtom(hszItem);
  }
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(b@ay)", answered, Bytes(bytes)));
}

constexpr struct {
  const char* name;
  void (*handler)(BusInstance& instance, const char* sender, GVariant* parameters, GDBusMethodInvocation* invocation);
} kMethods[] = {{"Connect", OnConnect}, {"Execute", OnExecute}, {"Poke", OnPoke}, {"Request", OnRequest},
                {"Disconnect", OnDisconnect}};

void OnMethod(GDBusConnection*, const gchar* sender, const gchar*, const gchar*, const gchar* method,
              GVariant* parameters, GDBusMethodInvocation* invocation, gpointer user) {
  const std::shared_ptr<BusInstance> instance = FindBusInstance(GPOINTER_TO_UINT(user));
  if (instance == nullptr) {
    g_dbus_method_invocation_return_dbus_error(invocation, "org.kwlib63.Dde.Error.Gone", "the instance has ended");
    return;
  }
  for (const auto& [name, handler] : kMethods) {
    if (std::strcmp(name, method) == 0) return handler(*instance, sender, parameters, invocation);
  }
  // Only a method added to kIntrospection and not to kMethods gets here.
  g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD, "no method %s", method);
}

// Registrations and withdrawals of other instances' services.
void OnNameOwnerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                        GVariant* parameters, gpointer user) {
  const std::shared_ptr<BusInstance> instance = FindBusInstance(GPOINTER_TO_UINT(user));
  if (instance == nullptr) return;
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  g_variant_get(parameters, "(&s&s&s)", &name, &before, &after);
  const std::wstring service = ServiceOf(name);
  if (service.empty()) return;
  const bool registered = *before == '\0' && *after != '\0';
  const bool withdrawn = *before != '\0' && *after == '\0';
  const std::string owner = registered ? after : before;
  if (owner == instance->uniqueName) return;
  if ((registered && (instance->flags & CBF_SKIP_REGISTRATIONS) == 0) ||
      (withdrawn && (instance->flags & CBF_SKIP_UNREGISTRATIONS) == 0)) {
    HSZ hszService = AddAtom(service);
    HSZ hszInstance = AddAtom(service + L"(" + kwfw::Utf8ToWide(owner) + L")");
    instance->callback(registered ? XTYP_REGISTER : XTYP_UNREGISTER, 0, nullptr, hszService, hszInstance, nullptr, 0,
                       0);
    ReleaseAtom(hszService);
    ReleaseAtom(hszInstance);
  }
}

// Asks for or gives up a service's bus name; false on the bus's refusal.
bool Name(BusInstance& instance, const char* method, const std::string& name) {
  GVariant* parameters = std::strcmp(method, "RequestName") == 0 ? g_variant_new("(su)", name.c_str(), 0u)
                                                                   : g_variant_new("(s)", name.c_str());
  GErrorPtr error;
  return CallAndWait(instance, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
                     parameters, "(u)", kConnectTimeout, error) != nullptr;
}

}  // namespace

UINT DdeInitializeW(LPDWORD id, PFNCALLBACK callback, DWORD flags, DWORD) {
  if (id == nullptr || callback == nullptr) return DMLERR_INVALIDPARAMETER;
  if (*id != 0) {
    const std::shared_ptr<BusInstance> existing = FindBusInstance(*id);
    if (existing == nullptr) return DMLERR_INVALIDPARAMETER;
    existing->callback = callback;
    existing->flags = flags;
    return DMLERR_NO_ERROR;
  }
  auto instance = std::make_shared<BusInstance>();
  instance->callback = callback;
  instance->flags = flags;
  GErrorPtr error;  // any failure is DMLERR_SYS_ERROR
  instance->bus = OpenBus(g_bus, {{"", G_BUS_TYPE_SESSION}}, error);
  if (instance->bus == nullptr) return DMLERR_SYS_ERROR;
  instance->uniqueName = g_dbus_connection_get_unique_name(instance->bus.get());
  instance->context.reset(g_main_context_ref(static_cast<GMainContext*>(GetThreadMainContext())));
  AddInstance(instance);
  // Method calls and signals are delivered to the thread-default context of the
  // moment they are asked for.
  g_main_context_push_thread_default(instance->context.get());
  static const GDBusInterfaceVTable vtable = {OnMethod, nullptr, nullptr, {}};
  instance->object = g_dbus_connection_register_object(instance->bus.get(), kPath, InterfaceInfo(), &vtable,
                                                       GUINT_TO_POINTER(instance->id), nullptr, nullptr);
  if ((flags & (CBF_SKIP_REGISTRATIONS | CBF_SKIP_UNREGISTRATIONS)) !=
      (CBF_SKIP_REGISTRATIONS | CBF_SKIP_UNREGISTRATIONS)) {
    instance->registrations = g_dbus_connection_signal_subscribe(
        instance->bus.get(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
        "/org/freedesktop/DBus", kNamespace, G_DBUS_SIGNAL_FLAGS_MATCH_ARG0_NAMESPACE, OnNameOwnerChanged,
        GUINT_TO_POINTER(instance->id), nullptr);
  }
  g_main_context_pop_thread_default(instance->context.get());
  *id = instance->id;
  return DMLERR_NO_ERROR;
}

BOOL DdeUninitialize(DWORD id) {
  const std::shared_ptr<BusInstance> instance = FindBusInstance(id);
  if (instance == nullptr) return FALSE;
  // Whatever was sent, asynchronous transactions included, reaches its server.
  g_dbus_connection_flush_sync(instance->bus.get(), nullptr, nullptr);
  RemoveInstance(id);
  if (instance->registrations != 0) g_dbus_connection_signal_unsubscribe(instance->bus.get(), instance->registrations);
  if (instance->object != 0) g_dbus_connection_unregister_object(instance->bus.get(), instance->object);
  g_dbus_connection_close_sync(instance->bus.get(), nullptr, nullptr);
  return TRUE;
}

HDDEDATA DdeNameService(DWORD id, HSZ service, HSZ, UINT command) {
  const std::shared_ptr<BusInstance> instance = FindBusInstance(id);
  if (instance == nullptr) return nullptr;
  const auto fail = [&instance](UINT error) {
    instance->lastError = error;
    return nullptr;
  };
  const HDDEDATA done = reinterpret_cast<HDDEDATA>(static_cast<std::uintptr_t>(TRUE));
  if ((command & (DNS_FILTERON | DNS_FILTEROFF)) != 0 && (command & (DNS_REGISTER | DNS_UNREGISTER)) == 0) return done;
  if ((instance->flags & APPCMD_CLIENTONLY) != 0) return fail(DMLERR_DLL_USAGE);
  std::wstring text;
  if ((command & DNS_REGISTER) != 0) {
    if (!AtomText(service, text)) return fail(DMLERR_INVALIDPARAMETER);
    // A name another server holds is queued for: it passes to us when that one leaves.
    if (!Name(*instance, "RequestName", BusName(text))) return fail(DMLERR_SYS_ERROR);
    instance->services.push_back(kwfw::FoldCase(text));
    return done;
  }
  if ((command & DNS_UNREGISTER) == 0) return fail(DMLERR_INVALIDPARAMETER);
  if (service != nullptr && !AtomText(service, text)) return fail(DMLERR_INVALIDPARAMETER);
  std::vector<std::wstring> kept;
  for (const std::wstring& registered : instance->services) {
    if (service == nullptr || registered == kwfw::FoldCase(text)) {
      Name(*instance, "ReleaseName", BusName(registered));
    } else {
      kept.push_back(registered);
    }
  }
  instance->services = kept;
  return done;
}

HCONV DdeConnect(DWORD id, HSZ service, HSZ topic, CONVCONTEXT*) {
  const std::shared_ptr<BusInstance> instance = FindBusInstance(id);
  if (instance == nullptr) return nullptr;
  std::wstring serviceText, topicText;
  if (!AtomText(service, serviceText) || !AtomText(topic, topicText)) {
    instance->lastError = DMLERR_INVALIDPARAMETER;
    return nullptr;
  }
  // The conversation is with the server that owns the name now.
  GErrorPtr error;
  const GVariantPtr owner =
      CallAndWait(*instance, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
                  g_variant_new("(s)", BusName(serviceText).c_str()), "(s)", kConnectTimeout, error);
  GVariantPtr reply;
  std::string peer;
  if (owner != nullptr) {
    const char* name = nullptr;
    g_variant_get(owner.get(), "(&s)", &name);
    peer = name;
    reply = CallAndWait(*instance, peer.c_str(), kPath, kInterface, "Connect",
                        g_variant_new("(ss)", kwfw::WideToUtf8(serviceText).c_str(),
                                      kwfw::WideToUtf8(topicText).c_str()),
                        "(u)", kConnectTimeout, error);
  }
  guint32 remote = 0;
  if (reply != nullptr) g_variant_get(reply.get(), "(u)", &remote);
  if (remote == 0) {
    instance->lastError = DMLERR_NO_CONV_ESTABLISHED;
    return nullptr;
  }
  DdeKeepStringHandle(id, service);
  DdeKeepStringHandle(id, topic);
  return NewConversation({id, peer, remote, service, topic});
}

BOOL DdeDisconnect(HCONV handle) {
  Conversation conversation;
  if (!FindConversation(handle, conversation)) return FALSE;
  if (const std::shared_ptr<BusInstance> instance = FindBusInstance(conversation.instance);
      instance && conversation.remote) {
    // The server hears of it; nothing waits for its answer.
    g_dbus_connection_call(instance->bus.get(), conversation.peer.c_str(), kPath, kInterface, "Disconnect",
                           g_variant_new("(u)", conversation.remote), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                           nullptr, nullptr);
  }
  DropConversation(handle);
  return TRUE;
}

HDDEDATA DdeClientTransaction(LPBYTE data, DWORD size, HCONV handle, HSZ item, UINT format, UINT type, DWORD timeout,
                              LPDWORD result) {
  Conversation conversation;
  if (!FindConversation(handle, conversation) || conversation.remote == 0) return nullptr;
  const std::shared_ptr<BusInstance> instance = FindBusInstance(conversation.instance);
  if (instance == nullptr) return nullptr;
  std::vector<BYTE> bytes;
  if (size == static_cast<DWORD>(-1)) {
    if (!DataBytes(reinterpret_cast<HDDEDATA>(data), bytes)) {
      instance->lastError = DMLERR_INVALIDPARAMETER;
      return nullptr;
    }
  } else if (data != nullptr) {
    bytes.assign(data, data + size);
  }
  std::wstring itemText;
  if (type != XTYP_EXECUTE && !AtomText(item, itemText)) {
    instance->lastError = DMLERR_INVALIDPARAMETER;
    return nullptr;
  }
  const std::string itemName = kwfw::WideToUtf8(itemText);
  GVariant* floating = nullptr;
  const char* method = nullptr;
  const char* replyType = "(u)";
  switch (type) {
    case XTYP_EXECUTE:
      method = "Execute";
      floating = g_variant_new("(u@ay)", conversation.remote, Bytes(bytes));
      break;
    case XTYP_POKE:
      method = "Poke";
      floating = g_variant_new("(usu@ay)", conversation.remote, itemName.c_str(), format, Bytes(bytes));
      break;
    case XTYP_REQUEST:
      method = "Request";
      replyType = "(bay)";
      floating = g_variant_new("(usu)", conversation.remote, itemName.c_str(), format);
      break;
    default:
      instance->lastError = DMLERR_INVALIDPARAMETER;
      return nullptr;
  }
  // Owned from here, so that every way out lets go of it; the calls only borrow it.
  const GVariantPtr parameters(g_variant_ref_sink(floating));
  if (timeout == 0) {
    instance->lastError = DMLERR_INVALIDPARAMETER;
    return nullptr;
  }
  if (timeout == TIMEOUT_ASYNC) {
    struct Transaction {
      DWORD instance;
      HCONV conversation;
      HSZ topic;
      HSZ item;
      UINT type;
      UINT format;
      DWORD id;
    };
    auto* transaction = new Transaction{instance->id, handle, conversation.topic, item, type, format,
                                        ++instance->nextTransaction};
    if (result != nullptr) *result = transaction->id;
    g_main_context_push_thread_default(instance->context.get());
    g_dbus_connection_call(
        instance->bus.get(), conversation.peer.c_str(), kPath, kInterface, method, parameters.get(),
        G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
        [](GObject* source, GAsyncResult* outcome, gpointer pending) {
          std::unique_ptr<Transaction> t(static_cast<Transaction*>(pending));
          GErrorPtr error;
          const GVariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), outcome, ErrorOut(error)));
          if (const std::shared_ptr<BusInstance> owner = FindBusInstance(t->instance)) {
            DWORD flags = 0;
            const HDDEDATA answer = Outcome(*owner, t->type, t->format, t->item, reply.get(), error.get(), &flags);
            owner->callback(XTYP_XACT_COMPLETE, t->format, t->conversation, t->topic, t->item, answer, t->id, flags);
          }
        },
        transaction);
    g_main_context_pop_thread_default(instance->context.get());
    return reinterpret_cast<HDDEDATA>(static_cast<std::uintptr_t>(TRUE));
  }
  GErrorPtr error;
  const GVariantPtr reply =
      CallAndWait(*instance, conversation.peer.c_str(), kPath, kInterface, method, parameters.get(), replyType,
                  static_cast<int>(std::min<DWORD>(timeout, G_MAXINT)), error);
  DWORD flags = 0;
  const HDDEDATA answer = Outcome(*instance, type, format, item, reply.get(), error.get(), &flags);
  if (result != nullptr) *result = flags;
  return answer;
}

}  // namespace kwplat

void DdeSetBusAddress(LPCWSTR address) { kwplat::g_bus.Set(address); }
