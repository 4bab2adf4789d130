// Sees what happens on the host's side.
#pragma once

#include <string>

#include "host_event.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::simulator {

// Called on the thread where it happens, so several calls may run at the same time. May not call
// back into the host.
class HostObserver {
 public:
  HostObserver() = default;
  HostObserver(const HostObserver&) = delete;
  HostObserver& operator=(const HostObserver&) = delete;
  virtual ~HostObserver() = default;

  // Right before and after the module gets an event, on the event's thread, with errno as the
  // module finds and leaves it.
  virtual void OnEventBegin(const HostEvent& /*event*/) {}
  virtual void OnEventEnd(const HostEvent& /*event*/) {}
  // The module called a host function; the text has the arguments and the result.
  virtual void OnHostCall(const std::string& /*call*/) {}
  virtual void OnWrite(const DspWrite& /*write*/) {}
  // The module broke the contract.
  virtual void OnViolation(const std::string& /*text*/) {}
};

}  // namespace brelmo::tavi::simulator
