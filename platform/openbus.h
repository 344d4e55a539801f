// The one way the platform code opens a D-Bus connection: to the bus a process's
// choice (processchoice.h) names, as a connection of the caller's own.
#pragma once

#include <initializer_list>

#include "glibptr.h"
#include "processchoice.h"

namespace kwplat {

// A word that a choice may give instead of an address: that bus of the session.
struct NamedBus {
  const char* word;
  GBusType type;
};

// Connects to the bus that `choice` gives: the bus of the matching `named` word,
// else the address given. Null with `error` set when the bus cannot be reached.
GObjectPtr<GDBusConnection> OpenBus(const ProcessChoice& choice, std::initializer_list<NamedBus> named,
                                    GErrorPtr& error);

}  // namespace kwplat
