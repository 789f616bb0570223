// The README's first program: follow a team, star one of its matches, mute
// it, and ask the facade about it. The lines between the markers are the
// README's, word for word (tests/examples checks that they stay so); main()
// only takes the application home as its argument and checks the answers.
//
//   kestrel_first_program HOME     exit status 0 when every answer is right
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelPlatform/AppHome.h>

#include <cstdio>
#include <filesystem>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s HOME\n", argv[0]);
    return 2;
  }
  const std::filesystem::path home = argv[1];

  // -- README: first program --
  kestrel::platform::AppHome::setRoot(home);  // before first use
  auto storage = kestrel::StorageManager::shared();
  storage->dataManager()->initialize();  // loads the object store

  kestrel::model::Team team;
  team.ID = 7;
  team.name = "Kestrels";
  bool followed = storage->followTeam(team, /*enableNotifications=*/true).get();

  kestrel::model::Event match;
  match.ID = 42;
  match.startTimestamp = 1'800'000'000;
  match.homeTeamOriginal = team;
  storage->insertEvent(match, /*isMuted=*/false).get();  // a favourite...
  storage->muteEvent(match).get();                       // ...without its alerts

  bool favourite = storage->isFavoriteEvent(42);        // true: from memory, no SQL
  bool muted = storage->isMutedEvent(42);               // true
  bool alerts = storage->isTeamNotificationEnabled(7);  // true
  // -- end --

  std::printf("followed %d, favourite %d, muted %d, team alerts %d\n", followed, favourite, muted,
              alerts);
  return followed && favourite && muted && alerts ? 0 : 1;
}
