#pragma once

#include <string>
#include <string_view>

#include "Fliprugair/collaborators/Environment.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/events/OnTheWay.h"
#include "Fliprugair/platform/Text.h"
#include "platform/FunctionRef.h"
#include "platform/Locked.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view firstInitReceived = "com.marlune.MarluneTracker.firstInitReceived";  // boolean

}  // namespace key

/// How requests leave: entered in the persisted network queue, then sent by a fresh collaborator, which takes the entry
/// out when the control host has accepted it. What is still there at an activation is offered again.
class RequestQueue {
 public:
  struct Shared {
    Locked<Value> trackerHostname;  ///< text; every request goes to this host
    OnTheWay onTheWay;
  };

  RequestQueue(Context& context, Shared& shared, Environment& environment)
      : context_(context), shared_(shared), environment_(environment) {}

  /// Answers with the timestamp that keys the entry. Two requests under one timestamp share the entry.
  std::string enqueueMarluneEvent(const Value& trackingObject);
  bool isEventSending(std::string_view eventTimestamp) const;

  void enqueueAndSend(const Value& payload);
  /// Enters `enqueued`, and sends what `payload` then answers with. The collaborator ends `task` when the request has
  /// ended.
  void enqueueAndSend(const Value& enqueued, FunctionRef<Value()> payload, BackgroundTaskIdentifier task);
  /// A request that is in no queue.
  void sendUnqueued(const Value& payload);

  /// Offers again what is not in flight, once the control host has answered an init request.
  void resendQueuedRequests();

  /// Whether the control host has ever answered an init request.
  bool firstInitReceived() const { return context_.store().boolForKey(key::firstInitReceived); }
  void noteInitReply() { context_.store().setBool(true, key::firstInitReceived); }

  void setTrackerHostname(const Value& hostname) { shared_.trackerHostname.store(hostname); }
  void storeDefaults();
  /// Whatever an earlier process was sending, this one is not.
  void forgetSending() { context_.store().removeObject(key::eventsSending); }

 private:
  enum class Replies { delivered, ignored };
  std::string enqueue(const Value& payload, bool isOnTheWay);
  bool isToBeOffered(std::string_view eventTimestamp) const;
  void send(const Value& payload, const Text& eventTimestamp, Replies replies, BackgroundTaskIdentifier task);

  Context& context_;
  Shared& shared_;
  Environment& environment_;
};

}  // namespace fliprugair
