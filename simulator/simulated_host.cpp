#include "simulated_host.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>

#include "host_records.h"

namespace brelmo::tavi::simulator {

namespace {

// What a module gets and may not touch: reading it is a crash.
void* Forbidden() {
  constexpr size_t kPage = 4096;
  static void* const page = [] {
    void* const memory = mmap(nullptr, kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
  }();
  return page;
}

}  // namespace

const char* ThreadName(HostEvent::Source source) {
  switch (source) {
    case HostEvent::Source::kCommon:
      return "common";
    case HostEvent::Source::kUsecase:
      return "usecase";
    case HostEvent::Source::kHingeAngle:
      break;
  }
  return "sensor";
}

SimulatedHost::SimulatedHost(const LoadedModule& module, HostObserver& observer)
    : module_(module),
      observer_(observer),
      services_(observer),
      control_thread_("control"),
      common_thread_("common"),
      usecase_thread_("usecase"),
      sensor_thread_("sensor") {}

SimulatedHost::~SimulatedHost() { Drain(); }

std::chrono::milliseconds SimulatedHost::CallLimit() const {
  // A scenario change is two writes, and each other thread may be at one, too.
  constexpr int kWritesOfAnEvent = 2;
  constexpr int kEventThreads = 3;
  const auto delay = std::chrono::duration_cast<std::chrono::milliseconds>(services_.dsp().delay());
  return patience_ + delay * kWritesOfAnEvent * (kEventThreads + posted_);
}

// ---- Calls of the module ------------------------------------------------------------------------

SimulatedHost::InitResult SimulatedHost::Init(const char* config) {
  hal_audio_device* const given = services_.BeginInit();
  const auto result = std::make_shared<int>(0);
  InitResult init;
  init.timed_out = !control_thread_.Run(
      [this, given, config, result] {
        *result = module_.descriptor().init(given, ModuleEvent,
                                            static_cast<hal_ext_module_ops*>(Forbidden()), config,
                                            services_.handle());
      },
      CallLimit());
  if (init.timed_out) return init;
  init.result = *result;
  init.left_handle_alone = services_.EndInit(init.result);
  init.has_handle = services_.has_handle();
  return init;
}

bool SimulatedHost::Deinit() {
  void* const context = handle();
  const auto result = std::make_shared<int>(0);
  if (!control_thread_.Run(
          [this, result] {
            *result = module_.descriptor().deinit(services_.device(), services_.handle());
          },
          CallLimit())) {
    return false;
  }
  services_.EndDeinit(*result, context);
  return true;
}

std::optional<std::string> SimulatedHost::Dump() {
  constexpr off_t kMost = off_t{16} << 20;
  const int fd = memfd_create("dump", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "no file for a dump");
  // It takes no more than that: the offset that the module's writes leave behind is their size.
  if (ftruncate(fd, kMost) == 0) fcntl(fd, F_ADD_SEALS, F_SEAL_GROW);
  const auto result = std::make_shared<int>(0);
  if (!control_thread_.Run(
          [this, fd, result] { *result = module_.descriptor().dump(fd, handle()); }, CallLimit())) {
    return std::nullopt;  // the module may still write to fd
  }
  if (*result != 0) services_.Violate("dump returned " + std::to_string(*result) + ", not 0");
  const off_t end = lseek(fd, 0, SEEK_CUR);
  if (end < 0) {
    services_.Violate("dump closed the descriptor that it was given");
    return "";
  }
  if (end >= kMost) services_.Violate("dump wrote 16 MiB or more");
  std::string text(static_cast<size_t>(end), '\0');
  const ssize_t size = pread(fd, text.data(), text.size(), 0);
  text.resize(size < 0 ? 0 : static_cast<size_t>(size));
  close(fd);
  return text;
}

EventThread& SimulatedHost::Thread(HostEvent::Source source) {
  switch (source) {
    case HostEvent::Source::kCommon:
      return common_thread_;
    case HostEvent::Source::kUsecase:
      return usecase_thread_;
    case HostEvent::Source::kHingeAngle:
      break;
  }
  return sensor_thread_;
}

std::function<void()> SimulatedHost::MakeDelivery(const HostEvent& event) {
  if (!event.is_raw && !services_.IsWanted(event)) return {};
  const Registration to = services_.registration();
  switch (event.source) {
    case HostEvent::Source::kCommon:
      if (to.common_handler == nullptr) return {};
      return [this, event, to] {
        const HostServices::EventScope scope;
        const auto payload = event.value ? std::make_unique<int32_t>(*event.value) : nullptr;
        observer_.OnEventBegin(event);
        to.common_handler(event.number, payload.get(), to.common_cookie);
        observer_.OnEventEnd(event);
      };
    case HostEvent::Source::kUsecase:
      if (to.usecase_handler == nullptr) return {};
      return [this, event, to] {
        const HostServices::EventScope scope;
        const auto record =
            event.value ? std::make_unique<UsecaseRecord>(static_cast<uint32_t>(*event.value))
                        : nullptr;
        observer_.OnEventBegin(event);
        to.usecase_handler(event.number, record == nullptr ? nullptr : record->get(), Forbidden(),
                           to.usecase_cookie);
        observer_.OnEventEnd(event);
      };
    case HostEvent::Source::kHingeAngle:
      break;
  }
  if (to.hinge_angle_callback == nullptr) return {};
  return [this, event, to] {
    const HostServices::EventScope scope;
    observer_.OnEventBegin(event);
    const int result = to.hinge_angle_callback(event.value.value_or(0), to.hinge_angle_cookie);
    observer_.OnEventEnd(event);
    if (result != 0) {
      services_.Violate("the hinge-angle callback returned " + std::to_string(result) + ", not 0");
    }
  };
}

SimulatedHost::Delivery SimulatedHost::Deliver(const HostEvent& event) {
  std::function<void()> delivery = MakeDelivery(event);
  if (!delivery) return Delivery::kNotRegistered;
  return Thread(event.source).Run(std::move(delivery), CallLimit()) ? Delivery::kDelivered
                                                                    : Delivery::kTimedOut;
}

SimulatedHost::Delivery SimulatedHost::Post(const HostEvent& event) {
  std::function<void()> delivery = MakeDelivery(event);
  if (!delivery) return Delivery::kNotRegistered;
  ++posted_;
  Thread(event.source).Post(std::move(delivery));
  return Delivery::kDelivered;
}

bool SimulatedHost::Drain() {
  const bool is_drained = common_thread_.Drain(CallLimit()) && usecase_thread_.Drain(CallLimit()) &&
                          sensor_thread_.Drain(CallLimit());
  if (is_drained) posted_ = 0;
  return is_drained;
}

int SimulatedHost::ModuleEvent(hal_audio_device* device, aud_mdl_handle_event /*event*/,
                               void* /*data*/, unsigned int /*data_size*/, void** /*reply*/,
                               unsigned int* /*reply_size*/, aud_interacts_op_t /*op*/,
                               unsigned int /*flags*/) {
  HostFunctions* const host = HostFunctions::Find(device, "module-event callback");
  if (host != nullptr) host->Violate("the module called the module-event callback");
  return kInvalidArgument;
}

}  // namespace brelmo::tavi::simulator
