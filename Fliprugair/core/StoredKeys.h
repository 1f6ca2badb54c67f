#pragma once

#include <string_view>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"

/// The keys of everything that survives the process. Times are whole seconds since 1970-01-01 00:00 UTC.
namespace fliprugair::key {

#define FLIPRUGAIR_KEY(name) inline constexpr std::string_view name = "com.marlune.MarluneTracker." #name

FLIPRUGAIR_KEY(requestAttribution);                  // boolean: the attribution result is wanted and not there yet
FLIPRUGAIR_KEY(userAgent);                           // text
FLIPRUGAIR_KEY(appId);                               // text
FLIPRUGAIR_KEY(currency);                            // text
FLIPRUGAIR_KEY(sessionTracking);                     // integer: 1 full, 2 none
FLIPRUGAIR_KEY(attribution);                         // dictionary: the final attribution result
FLIPRUGAIR_KEY(firstInitReceived);                   // boolean
FLIPRUGAIR_KEY(sendInitial);                         // boolean: the install report is still to be sent
FLIPRUGAIR_KEY(deviceLatitude);                      // text
FLIPRUGAIR_KEY(deviceLongitude);                     // text
FLIPRUGAIR_KEY(lastUpdateTime);                      // time: what the next uptime delta counts from
FLIPRUGAIR_KEY(lastPostTime);                        // time
FLIPRUGAIR_KEY(timeAppBecameActive);                 // time
FLIPRUGAIR_KEY(idfaBlacklisted);                     // boolean
FLIPRUGAIR_KEY(idfvBlacklisted);                     // boolean
FLIPRUGAIR_KEY(initialIdentityLink);                 // dictionary: given at the first start
FLIPRUGAIR_KEY(idfa);                                // text: the advertising identifier last reported
FLIPRUGAIR_KEY(pairedAppleWatches);                  // array of text: the watch links already reported
FLIPRUGAIR_KEY(mlinitWait);                          // integer, seconds between two init requests
FLIPRUGAIR_KEY(lastMLInitSent);                      // time: the last init reply
FLIPRUGAIR_KEY(mltrackerWait);                       // integer, seconds from the last record to a flush
FLIPRUGAIR_KEY(lastMLTrackerQueued);                 // time: the last record
FLIPRUGAIR_KEY(iAdAttributionAttempts);              // integer: search-ad answers at most
FLIPRUGAIR_KEY(iAdAttributionWait);                  // integer, seconds for one search-ad retry
FLIPRUGAIR_KEY(iAdRetryWait);                        // integer, seconds before a search-ad retry
FLIPRUGAIR_KEY(sendIdUpdates);                       // boolean: changes of identifiers are reported
FLIPRUGAIR_KEY(lastLocationTime);                    // time: the last fix
FLIPRUGAIR_KEY(app_limit_tracking);                  // boolean: the host app's choice
FLIPRUGAIR_KEY(origDeviceId);                        // text: the first device identifier
FLIPRUGAIR_KEY(deviceId);                            // text
FLIPRUGAIR_KEY(watchProperties);                     // dictionary: device properties last reported
FLIPRUGAIR_KEY(blacklistedEventNames);               // array of text
FLIPRUGAIR_KEY(device_limit_tracking);               // boolean: the device's setting as last reported
FLIPRUGAIR_KEY(INIT_PAYLOAD);                        // dictionary: the init request until its reply
FLIPRUGAIR_KEY(attributionWait);                     // integer, seconds from the install report to the first question
FLIPRUGAIR_KEY(iAdAttribution_INITIAL_PASSTHROUGH);  // dictionary: install data waiting for the search-ad answer
FLIPRUGAIR_KEY(initialPayload);                      // dictionary: finished install request, parked
FLIPRUGAIR_KEY(handleWatchEventsDeferred);           // dictionary: a pairing put off
FLIPRUGAIR_KEY(trackWatchEventDeferred);             // array of dictionaries: watch events put off

#undef FLIPRUGAIR_KEY

// The keys of the request pipeline are spelled with a lower-case "m"; its other two are shared with the network
// collaborator and stand there.
inline constexpr std::string_view batchEventQueue = "com.marlune.marluneTracker.batchEventQueue";

}  // namespace fliprugair::key
