/* A host app in C, with the shared library: cc main.c $(pkg-config --cflags --libs fliprugair); docs/languages.md has
   the static ones. Arguments: HOST:PORT FOLDER. */
#include <Fliprugair/fliprugair.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void show_attribution(void* user, const char* attribution) {
  (void)user;
  printf("attribution %s\n", attribution);
}

/* Ends the program when something failed, and says what. */
static void check(int good, const char* what, char* error) {
  if (good) return;
  fprintf(stderr, "%s: %s\n", what, error != NULL ? error : "no reason given");
  fliprugair_free(error);
  exit(1);
}

int main(int count, char** arguments) {
  const char* host = count > 1 ? arguments[1] : "127.0.0.1:8080";
  const char* folder = count > 2 ? arguments[2] : ".";
  char options[1024], parameters[1024];
  char* error = NULL;
  fliprugair_callbacks callbacks;
  fliprugair_app* app;
  fliprugair_tracker* tracker;
  fliprugair_waiting waiting;

  memset(&callbacks, 0, sizeof callbacks);
  callbacks.attribution = show_attribution;
  snprintf(options, sizeof options,
           "{\"bundleIdentifier\": \"com.example.c\", \"version\": \"1\", \"storePath\": \"%s/c.sqlite\"}", folder);
  app = fliprugair_open(options, &callbacks, &error);
  check(app != NULL, "open", error);

  snprintf(parameters, sizeof parameters,
           "{\"marluneAppId\": \"demo\", \"trackerHostname\": \"%s\", \"retrieveAttribution\": true}", host);
  tracker = fliprugair_start(app, parameters, &error);
  check(tracker != NULL, "start", error);

  check(fliprugair_did_finish_launching(app, &error) == FLIPRUGAIR_OK, "launch", error);
  check(fliprugair_did_become_active(app, &error) == FLIPRUGAIR_OK, "activate", error);
  check(fliprugair_track_event(tracker, "level", "7", &error) == FLIPRUGAIR_OK, "event", error);
  check(fliprugair_identity_link(tracker, "{\"user\": \"4711\"}", &error) == FLIPRUGAIR_OK, "identity", error);

  /* What is refused says why. */
  if (fliprugair_identity_link(tracker, "[1, 2]", &error) == FLIPRUGAIR_INVALID_ARGUMENT) {
    printf("refused: %s\n", error);
    fliprugair_free(error);
  }

  /* A host app goes on now; this one ends when the host has everything. */
  check(fliprugair_wait_until_sent(app, 10, &waiting, &error) == FLIPRUGAIR_OK, "wait", error);
  printf("waiting: %lu records, %lu requests\n", (unsigned long)waiting.records, (unsigned long)waiting.requests);
  fliprugair_close(app);
  printf("Fliprugair %s\n", fliprugair_version());
  return waiting.install_report == 0 && waiting.records == 0 && waiting.requests == 0 ? 0 : 1;
}
