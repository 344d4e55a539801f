// Owning pointers for the GLib values the platform code holds, so that every way
// out of a scope frees them. A GVariantPtr must hold a full reference: give it a
// floating variant only through g_variant_ref_sink (it does not sink one itself);
// the calls it is then passed to (GDBus, g_variant_new's "@") take references of
// their own.
#pragma once

#include <gio/gio.h>

#include <memory>

namespace kwplat {

struct GErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};
struct GVariantUnref {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
struct GObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct GMainContextUnref {
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
};

using GErrorPtr = std::unique_ptr<GError, GErrorFree>;
using GVariantPtr = std::unique_ptr<GVariant, GVariantUnref>;
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;
using GMainContextPtr = std::unique_ptr<GMainContext, GMainContextUnref>;

// Lends a GErrorPtr to a call that reports through a GError**, as
// `call(..., ErrorOut(error))`: an error the call sets is owned by `error` once
// the full expression has ended; without one, `error` keeps what it held.
class ErrorOut {
 public:
  explicit ErrorOut(GErrorPtr& owner) : m_owner(owner) {}
  ~ErrorOut() {
    if (m_error != nullptr) m_owner.reset(m_error);
  }
  ErrorOut(const ErrorOut&) = delete;
  ErrorOut& operator=(const ErrorOut&) = delete;

  operator GError**() { return &m_error; }

 private:
  GErrorPtr& m_owner;
  GError* m_error = nullptr;
};

}  // namespace kwplat
