// What a service manager handle and a service handle hold, for the calls on them.
#pragma once

#include <memory>
#include <string>

#include <kwlib63/platform/handletable.h>
#include <kwlib63/platform/service.h>

#include "systemdbus.h"

namespace kwplat {

struct ServiceManagerObject : HandleObject {
  static constexpr HandleKind kKind = HandleKind::kServiceManager;
  std::shared_ptr<SystemdBus> bus;
  DWORD access;

  ServiceManagerObject(std::shared_ptr<SystemdBus> manager, DWORD rights)
      : HandleObject(kKind),
        bus(std::move(manager)),
        access(rights) {}
};

struct ServiceObject : HandleObject {
  static constexpr HandleKind kKind = HandleKind::kService;
  std::shared_ptr<SystemdBus> bus;
  std::string unit;  // "name.service"
  std::string path;  // the unit's object
  DWORD access;
  UnitWatch watch;
  // The check point: the pending state it counts for, its value, and what it
  // last saw.
  DWORD pending = 0;
  DWORD checkPoint = 0;
  unsigned progressSeen = 0;
  std::string subSeen, jobSeen;

  ServiceObject(std::shared_ptr<SystemdBus> manager, std::string name, std::string object, DWORD rights)
      : HandleObject(kKind),
        bus(std::move(manager)),
        unit(std::move(name)),
        path(std::move(object)),
        access(rights),
        watch(bus, unit, path) {}
};

// The service behind `handle` when it was opened with every right of `rights`;
// null with ERROR_INVALID_HANDLE or ERROR_ACCESS_DENIED otherwise.
std::shared_ptr<ServiceObject> ServiceWith(SC_HANDLE handle, DWORD rights);

}  // namespace kwplat
