/* A program that loads the shared library, uses it and unloads it. Arguments: LIBRARY FOLDER. */
#include <Fliprugair/fliprugair.h>
#include <dirent.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

static void* library;
static fliprugair_app* (*open_app)(const char*, const fliprugair_callbacks*, char**);
static fliprugair_status (*become_active)(fliprugair_app*, char**);
static fliprugair_tracker* (*start)(fliprugair_app*, const char*, char**);
static fliprugair_status (*track_event)(fliprugair_tracker*, const char*, const char*, char**);
static fliprugair_status (*what_waits)(fliprugair_app*, fliprugair_waiting*, char**);
static void (*close_app)(fliprugair_app*);
static fliprugair_tracker* tracker;

static void check(int good, const char* what) {
  if (good) return;
  fprintf(stderr, "unloading: %s\n", what);
  exit(1);
}

static void find(void* function, const char* name) {
  *(void**)function = dlsym(library, name);
  check(*(void**)function != NULL, dlerror());
}

static void load(const char* path) {
  library = dlopen(path, RTLD_NOW);
  check(library != NULL, "the library cannot be loaded");
  find(&open_app, "fliprugair_open");
  find(&become_active, "fliprugair_did_become_active");
  find(&start, "fliprugair_start");
  find(&track_event, "fliprugair_track_event");
  find(&what_waits, "fliprugair_what_waits");
  find(&close_app, "fliprugair_close");
}

/* Opened, and one event reported to a host that nobody listens on. */
static fliprugair_app* opened(const char* folder) {
  char options[1024];
  char* error = NULL;
  fliprugair_app* app;
  snprintf(options, sizeof options, "{\"bundleIdentifier\": \"com.example.c\", \"storePath\": \"%s/store.sqlite\"}",
           folder);
  app = open_app(options, NULL, &error);
  check(app != NULL, error);
  tracker = start(app, "{\"marluneAppId\": \"demo\", \"trackerHostname\": \"127.0.0.1:1\"}", &error);
  check(tracker != NULL, error);
  check(become_active(app, &error) == FLIPRUGAIR_OK, error);
  check(track_event(tracker, "level", "7", &error) == FLIPRUGAIR_OK, error);
  return app;
}

static int entries_in(const char* path) {
  DIR* folder = opendir(path);
  int count = 0;
  check(folder != NULL, path);
  while (readdir(folder) != NULL) ++count;
  closedir(folder);
  return count;
}

int main(int count, char** arguments) {
  int round, descriptors = 0, threads = 0;
  unsigned long before;
  fliprugair_waiting waiting;
  fliprugair_app* app;
  check(count == 3, "LIBRARY FOLDER");
  for (round = 0; round < 10; ++round) {
    load(arguments[1]);
    close_app(opened(arguments[2]));
    dlclose(library);
    if (round == 0) {  /* what libraries keep for good */
      descriptors = entries_in("/proc/self/fd");
      threads = entries_in("/proc/self/task");
    }
  }
  check(entries_in("/proc/self/fd") == descriptors, "descriptors stay behind");
  check(entries_in("/proc/self/task") == threads, "threads stay behind");

  /* While an app is open its threads run the library's code: it stays. */
  load(arguments[1]);
  app = opened(arguments[2]);
  check(dlclose(library) == 0, "dlclose fails");
  check(what_waits(app, &waiting, NULL) == FLIPRUGAIR_OK, "what waits is not said");
  before = waiting.records;
  check(track_event(tracker, "level", "8", NULL) == FLIPRUGAIR_OK, "an event is refused");
  check(what_waits(app, &waiting, NULL) == FLIPRUGAIR_OK && waiting.records == before + 1, "an event is lost");
  close_app(app);

  load(arguments[1]);
  opened(arguments[2]);
  dlclose(library);
  return 0;  /* with an app that is open */
}
