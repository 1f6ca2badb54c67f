// A game on SDL 2: each frame does what is due on the platform. The game is active while its window is to be seen.
#define SDL_MAIN_HANDLED  // this file has the program's own main
#include <SDL.h>

#include "examples/loops/Visit.h"

namespace {

Uint32 quit(Uint32 /*interval*/, void* /*parameter*/) {
  SDL_Event event{};
  event.type = SDL_QUIT;
  SDL_PushEvent(&event);
  return 0;
}

void tell(fliprugair::LinuxEnvironment& environment, const SDL_WindowEvent& event) {
  if (event.event == SDL_WINDOWEVENT_SHOWN || event.event == SDL_WINDOWEVENT_RESTORED) {
    environment.applicationDidBecomeActive();
  }
  if (event.event == SDL_WINDOWEVENT_MINIMIZED) environment.applicationWillResignActive();
}

}  // namespace

int main(int count, char** arguments) {
  Visit visit(count, arguments);
  if (!visit.environment) return 1;
  SDL_SetMainReady();
  if (SDL_Init(SDL_INIT_VIDEO | SDL_INIT_TIMER) != 0) return std::cerr << SDL_GetError() << '\n', 1;
  SDL_Window* window = SDL_CreateWindow("Game", 0, 0, 320, 200, 0);

  // The player plays for three seconds.
  SDL_AddTimer(3000, quit, nullptr);
  for (bool playing = true; playing;) {
    for (SDL_Event event{}; SDL_PollEvent(&event) != 0;) {
      if (event.type == SDL_WINDOWEVENT) tell(*visit.environment, event.window);
      if (event.type == SDL_QUIT) playing = false;
    }
    visit.environment->poll();
    SDL_Delay(16);  // a frame is drawn here
  }
  visit.environment->applicationWillResignActive();
  visit.environment->terminate();
  SDL_DestroyWindow(window);
  SDL_Quit();
}
