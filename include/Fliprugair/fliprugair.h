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
} fliprugair_callbacks;

/* Frees a text that a function gave. A null pointer is no text. */
FLIPRUGAIR_EXPORT void fliprugair_free(char* text);

/* The version of the library that runs, as "0.1.0"; FLIPRUGAIR_VERSION_TEXT is the one compiled against. Not to be
 * freed. */
FLIPRUGAIR_EXPORT const char* fliprugair_version(void);

/* The app: opens the store and makes the platform. A null pointer, and the reason, when that fails. `options` is a JSON
 * object; a key that is not among these is an error:
 *   "bundleIdentifier" (text; this one or "storePath" is needed), "shortVersion", "version", "receiptPath",
 *   "storePath", "documentsFolder", "caFile", "proxy", "gpsdHost", "gpsdPort" (text),
 *   "backgroundTaskTime" (seconds, 5), "mainThread" ("own" or "host", "own"),
 *   "advises" (boolean, true: LinuxOptions::advises),
 *   "mostWaitingRequests" (number from 1 on; more are dropped, the oldest first),
 *   "facts": what the host app states about the device: "systemName", "systemVersion", "hardware", "vendorIdentifier",
 *   "advertisingIdentifier", "userAgent" (text), "advertisingTrackingEnabled", "locationServicesEnabled" (boolean),
 *   "locationAuthorizationStatus", "statusBarOrientation" (number).
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

/* The app's life. A null pointer for `app` is refused. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_did_finish_launching(fliprugair_app* app);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_did_become_active(fliprugair_app* app);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_will_resign_active(fliprugair_app* app);

/* For a program that ends soon, after fliprugair_did_become_active: has the trackers send what they have, as an app
 * that resigns does, and waits until the control host has confirmed all, for `timeout` (seconds, to 86400) at the most.
 * What waits by then stands in `waiting`, unless that is a null pointer; FLIPRUGAIR_OK also when the time is over. A
 * first start takes a second at least. Not from a callback. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_wait_until_sent(fliprugair_app* app, double timeout,
                                                               fliprugair_waiting* waiting, char** error);

/* What waits now. Both are needed. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_what_waits(fliprugair_app* app, fliprugair_waiting* waiting);

/* With "mainThread": "host" the host app's loop calls fliprugair_poll when the file descriptor becomes readable and
 * when the wait is over: milliseconds from now, -1 when nothing is due. Asked anew before each wait. On the app's
 * thread. */
FLIPRUGAIR_EXPORT int fliprugair_file_descriptor(fliprugair_app* app);
FLIPRUGAIR_EXPORT int fliprugair_wait_milliseconds(fliprugair_app* app);
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_poll(fliprugair_app* app);

/* Starts a tracker, which belongs to the app. One is enough: starting another, even in vain, begins anew what they
 * share. `parameters` is a JSON object with the keys of MarluneTracker::initMarluneWithParams: "marluneAppId",
 * "trackerHostname", ... A null pointer, and the reason, when neither an application identifier nor a partner is in it.
 */
FLIPRUGAIR_EXPORT fliprugair_tracker* fliprugair_start(fliprugair_app* app, const char* parameters, char** error);

/* What MarluneTracker's methods of these names do. Every argument but `error` is needed. */
FLIPRUGAIR_EXPORT fliprugair_status fliprugair_track_event(fliprugair_tracker* tracker, const char* title,
                                                           const char* value, char** error);
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

/* The stored attribution result, a JSON object to be freed; a null pointer while there is none. Asks nobody. */
FLIPRUGAIR_EXPORT char* fliprugair_attribution(fliprugair_tracker* tracker);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
