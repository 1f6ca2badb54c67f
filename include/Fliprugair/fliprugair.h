#ifndef FLIPRUGAIR_FLIPRUGAIR_H
#define FLIPRUGAIR_FLIPRUGAIR_H

#include <stddef.h>

#include "Fliprugair/Version.h"
#include "Fliprugair/platform/Export.h"

/* The library for C, and for every language that can call C: an app, its trackers, plain functions.
 *
 * Text is UTF-8 and ends with a 0; it is copied before a function returns. Dictionaries are JSON objects as text.
 * Threads: fliprugair_open, fliprugair_close and the host app's own loop belong on one thread; everything else may be
 * called from any. No function waits for the network, but fliprugair_close and fliprugair_wait_until_sent (see there).
 * Errors: a function that can fail says how, and, when `error` is not a null pointer, why: it stores a text there, to
 * be freed with fliprugair_free, or a null pointer when nothing failed. No C++ exception leaves a function. */

#ifdef __cplusplus
extern "C" {
#endif

typedef struct fliprugair_app fliprugair_app;
typedef struct fliprugair_tracker fliprugair_tracker;
typedef struct fliprugair_search_ads_question fliprugair_search_ads_question;

typedef enum fliprugair_status {
  FLIPRUGAIR_OK = 0,
  FLIPRUGAIR_INVALID_ARGUMENT = 1, /* a null pointer, text that is no JSON object: nothing was done */
  FLIPRUGAIR_FAILED = 2            /* out of memory, or threads; what the text says */
} fliprugair_status;

/* What the control host has not confirmed yet. It stands in the store and is sent again at a later activation. */
typedef struct fliprugair_waiting {
  int install_report; /* 1: the installation has not been reported; no records leave before that */
  size_t records;     /* events, sessions, positions that no request carries yet */
  size_t requests;    /* made, and not confirmed */
  size_t bytes;       /* of records and requests as JSON text */
  double oldest;      /* when the oldest of them was made, in seconds since 1970; 0 when there are none */
} fliprugair_waiting;

/* What the host app hears. Each may be a null pointer. `user` is handed on as it is. A callback must not block, and not
 * call fliprugair_close; its text is valid until it returns. None comes after fliprugair_close has returned. */
typedef struct fliprugair_callbacks {
  void* user;
  /* One diagnostic line. On any thread, on several at a time. A null pointer: standard error. */
  void (*log)(void* user, const char* line);
  /* The attribution result, a JSON object. On the network thread. */
  void (*attribution)(void* user, const char* attribution);
  /* Whether a search ad led to the installation. The question is the host app's: it answers each one, here or later, by
   * fliprugair_answer_search_ads. On a thread of the platform's. A null pointer: nobody knows. */
  void (*search_ads)(void* user, fliprugair_search_ads_question* question);
} fliprugair_callbacks;

/* Frees a text that a function gave. A null pointer is no text. */
FLIPRUGAIR_EXPORT void fliprugair_free(char* text);

/* The version of the library that runs, as "0.1.0"; FLIPRUGAIR_VERSION_TEXT is the one compiled against. Not to be
 * freed. */
FLIPRUGAIR_EXPORT const char* fliprugair_version(void);

/* The app: opens the store and makes the platform. A null pointer, and the reason, when that fails. `options` is a JSON
 * object; a key that is not among these is an error. What they mean stands with the members of LinuxOptions:
 *   "bundleIdentifier" (text; this one or "storePath" is needed), "shortVersion", "version", "receiptPath",
 *   "storePath", "documentsFolder" (text),
 *   "durability" ("process" or "powerCut", "process": what a synchronized write survives),
 *   "unreadableStore" ("isRefused" or "isJoined", "isRefused"),
 *   "mostWaitingRequests" (number from 1 on; more are dropped, the oldest first),
 *   "mainThread" ("own" or "host", "own"), "backgroundTaskTime" (seconds to 3600, 5), "advises" (boolean, true),
 *   "caFile", "proxy" (text), "loopbackScheme" ("http" or "https", "http"), "connectTimeout" (seconds to 3600, 10),
 *   "requestTimeout" (seconds to 3600, 30), "requestsAtATime" (1 to 8, 8),
 *   "allowControlHostFromEnvironment" (boolean, false: whether FLIPRUGAIR_CONTROL_HOST replaces every control host),
 *   "gpsdHost" (text, "localhost"), "gpsdPort" (text, "2947"),
 *   "facts": what the host app states about the device, as for fliprugair_set_facts.
 * `callbacks` may be a null pointer; it is copied. */
FLIPRUGAIR_EXPORT fliprugair_app* fliprugair_open(const char* options, const fliprugair_callbacks* callbacks,
                                                  char** error);

/* Says that the app terminates, sends what is being sent for "backgroundTaskTime" at most, makes the store durable, and
 * frees the app and its trackers. No other function runs meanwhile or later. A null pointer is no app. */
FLIPRUGAIR_EXPORT void fliprugair_close(fliprugair_app* app);

/* For a user who takes their consent back: stops at once, without the last words of fliprugair_close, cuts off what is
 * being sent, erases all that the app has stored, and frees the app and its trackers as fliprugair_close does, also
 * when not all could be erased: the text says what, and why. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_stop_for_good(fliprugair_app* app, char** error);

/* Erases all that is stored for an app with these options, those of fliprugair_open, while no app uses that store: its
 * next start is one of a new installation. FLIPRUGAIR_OK also when there was nothing; else the text says what could not
 * be erased, and why. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_erase(const char* options, char** error);

/* The app's life. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_did_finish_launching(fliprugair_app* app, char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_did_become_active(fliprugair_app* app, char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_will_resign_active(fliprugair_app* app, char** error);

/* Replaces what the host app states about the device, a JSON object; what is not in it is not stated any more:
 *   "systemName", "systemVersion", "hardware", "vendorIdentifier", "advertisingIdentifier", "userAgent" (text),
 *   "advertisingTrackingEnabled", "locationServicesEnabled" (boolean), "foundationVersionNumber" (number),
 *   "locationAuthorizationStatus", "statusBarOrientation" (0 to 4), "reachabilityFlags" (32 bits),
 *   "preferredLanguages" (list of texts), "screen" (an object: "width", "height" in pixels, "brightness" from 0 to 1),
 *   "pasteboards" (an object: texts by name, null for one without a text). */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_set_facts(fliprugair_app* app, const char* facts, char** error);

/* For a program that ends soon, after fliprugair_did_become_active: has the trackers send what they have, as an app
 * that resigns does, and waits until the control host has confirmed all, for `timeout` (seconds, to 86400) at the most.
 * What waits by then stands in `waiting`, unless that is a null pointer; FLIPRUGAIR_OK also when the time is over. A
 * first start takes a second at least. Not from a callback. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_wait_until_sent(fliprugair_app* app, double timeout,
                                                               fliprugair_waiting* waiting, char** error);

/* What waits now. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_what_waits(fliprugair_app* app, fliprugair_waiting* waiting,
                                                          char** error);

/* Runs `task` on the main thread and waits for its end; FLIPRUGAIR_FAILED when it did not run, because the app
 * terminates or there is no thread to be had. With "mainThread": "host" it waits until the host app turns the loop. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_on_main(fliprugair_app* app, void (*task)(void* user), void* user,
                                                       char** error);

/* With "mainThread": "host" alone. Either: turns the main queue on the calling thread until fliprugair_stop is called,
 * from any thread. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_run(fliprugair_app* app, char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_stop(fliprugair_app* app, char** error);

/* Or: the host app's loop calls fliprugair_poll when the file descriptor becomes readable and when the wait is over:
 * milliseconds from now, -1 when nothing is due. Asked anew before each wait. On the app's thread. */
FLIPRUGAIR_EXPORT int fliprugair_file_descriptor(fliprugair_app* app, char** error);
FLIPRUGAIR_EXPORT int fliprugair_wait_milliseconds(fliprugair_app* app, char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_poll(fliprugair_app* app, char** error);

/* Starts a tracker, which belongs to the app. One is enough: starting another, even in vain, begins anew what they
 * share. `parameters` is a JSON object with the keys of MarluneTracker::initMarluneWithParams: "marluneAppId",
 * "trackerHostname", ... A null pointer, and the reason, when neither an application identifier nor a partner is in it.
 */
FLIPRUGAIR_EXPORT fliprugair_tracker* fliprugair_start(fliprugair_app* app, const char* parameters, char** error);

/* What MarluneTracker's methods of these names do. Every argument but `error` is needed, where nothing else is said. */

/* A null pointer for `value`: an event without one. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_track_event(fliprugair_tracker* tracker, const char* title,
                                                           const char* value, char** error);
/* The same, marked as a standard event or, with 0, not: trackEventWithEventTitleString. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_track_marked_event(fliprugair_tracker* tracker, const char* title,
                                                                  const char* value, int standard, char** error);
/* A standard event by its name, with a JSON object or a null pointer: trackEventWithEventStandardParameters. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_track_standard_event(fliprugair_tracker* tracker, const char* name,
                                                                    const char* data, char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_track_purchase(fliprugair_tracker* tracker, const char* title,
                                                              const char* value, const char* encoded_receipt,
                                                              char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_track_spatial_event(fliprugair_tracker* tracker, const char* title,
                                                                   float x, float y, float z, char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_identity_link(fliprugair_tracker* tracker, const char* identities,
                                                             char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_deep_link(fliprugair_tracker* tracker, const char* url,
                                                         const char* source_application, char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_limit_ad_tracking(fliprugair_tracker* tracker, int limited,
                                                                 char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_enable_logging(fliprugair_tracker* tracker, int enabled, char** error);

/* The watch companion. A null pointer for `watch_link`: a watch without one. A null pointer for `value`: an event
 * without one. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_handle_watch_events(fliprugair_tracker* tracker, const char* watch_link,
                                                                   int called_by_track_event, char** error);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_track_watch_event(fliprugair_tracker* tracker, const char* title,
                                                                 const char* value, char** error);

/* The identifier of the host app's own that is reported with the installation; a null pointer for none. What is given
 * is to be freed. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_set_custom_id(fliprugair_tracker* tracker, const char* custom_id,
                                                             char** error);
FLIPRUGAIR_EXPORT char* fliprugair_custom_id(fliprugair_tracker* tracker, char** error);

/* The stored attribution result, a JSON object to be freed; a null pointer while there is none. Asks nobody. */
FLIPRUGAIR_EXPORT char* fliprugair_attribution(fliprugair_tracker* tracker, char** error);

/* Answers a question of fliprugair_callbacks::search_ads, on any thread, also after fliprugair_close: with the details,
 * a JSON object, or a null pointer when there are none; `unknown` when they are not known yet and may be asked for
 * again. Frees the question, unless it refuses the answer. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_answer_search_ads(fliprugair_search_ads_question* question,
                                                                 const char* details, int unknown, char** error);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
