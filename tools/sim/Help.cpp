#include "tools/sim/Help.h"

namespace fliprugair::sim {

std::string_view helpText() {
  return R"(fliprugair-sim [FILE] [--seed N]

Runs the tracker on a virtual device. FILE (or standard input) holds commands, one JSON object a line; blank lines and
lines that begin with # are skipped. Standard output has what happens, one JSON object a line, in order; each command
ends with {"event":"done","line":L}. Time stands still except during "advance", nothing leaves the process, and the same
script always gives the same output.

  --seed N   the seed of the random UUIDs (1 unless given)
  --help     this text
  --version  the version

The program ends with 0 at the end of the script, and with 2 at a line that it cannot understand. A command that does
nothing (an answer for a request that is not pending, a call without a tracker) is no error; a line on standard error says
so. On a terminal the program greets, shows this text for the word help, and goes on after a mistake.

The commands, each with an example:

  {"do":"device","system_version":"7.0.6","languages":["de"],"idfa":null}
      sets facts of the device: system_name, system_version, foundation_version, hardware, languages, idfv, idfa,
      ad_tracking_enabled, screen {width, height, brightness} or null, orientation, bundle {CFBundleIdentifier,
      CFBundleShortVersionString, CFBundleVersion}, receipt (base64 or null), pasteboards {name: text or null},
      user_agent, reachability (flags, null or "unreadable"), location_services, location_status, documents {name:
      base64, or null to delete}
  {"do":"clock","now":1700003600}
      sets the wall clock (seconds since 1970; it starts at 1700000000); timers keep their remaining time
  {"do":"advance","seconds":60}
      lets time pass; timers that come due fire
  {"do":"store","set":{"my.key":1},"remove":["old.key"],"get":["my.key"]}
      writes, removes, then shows stored values; "get":"all" shows every key
  {"do":"installed"}
      stores what a finished first visit leaves behind: a tracker that is constructed next has nothing to send
  {"do":"construct","options":{"marluneAppId":"demo","enableLogging":true}}
      the host app constructs its tracker; with "keep":true the one it has lives on
  {"do":"call","method":"trackEvent::","args":["level","7"]}
      the host app calls a method of its tracker. Arguments are JSON values, null for nothing, {"$url":TEXT} for a URL,
      {"$standard":{"name":TEXT,"data":OBJECT}} for event-standard-parameters ("raises":REASON makes reading them fail)
  {"do":"notify","name":"did-become-active"}
      an application notification: did-finish-launching, did-become-active, will-resign-active, will-terminate
  {"do":"reply","request":1,"body":{"success":1,"flags":{"resend_initial":false}}}
      the control host accepts request 1 and answers it
  {"do":"fail","request":2}
      request 2 fails
  {"do":"search_ad","details":{"iAdAttribution":"true"},"unknown":false}
      the search-ad service answers
  {"do":"location","fix":{"latitude":48.2,"longitude":16.4,"accuracy":20}}
      the location manager that is searching finds a fix
  {"do":"expire","task":1}
      the system's patience with background task 1 is over
  {"do":"delegate","kind":"listening"}
      the host app's delegate from now on: listening, mute or none
  {"do":"release"}
      the host app drops its tracker
  {"do":"restart"}
      the process dies and a new one starts; store, clock, device and files stay
  {"do":"state"}
      shows the process-wide values and the timers that are armed

The events: send, log, timer_armed, timer_fired, timer_stopped, attribution, search_ad_request, location_request,
user_agent_request, background_task_began, background_task_ended, constructed, returned, store, state, done.

An example, to be given on standard input:

  {"do":"construct","options":{"marluneAppId":"demo","trackerHostname":"host.example"}}
  {"do":"reply","request":1,"body":{"success":1,"flags":{"resend_initial":false}}}
  {"do":"call","method":"trackEvent::","args":["level","7"]}
  {"do":"advance","seconds":60}
)";
}

}  // namespace fliprugair::sim
