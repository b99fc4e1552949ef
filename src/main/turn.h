// Two runs of a service would mix in the files that both build before they put them into place, so they take turns.
#ifndef TESSERA_MAIN_TURN_H
#define TESSERA_MAIN_TURN_H

// Waits, 40 seconds at most, until no other run works on the file at `path`, which is made when it is missing and which
// the run is about to write, and stores what ends this run's turn; so does the end of the process, however it comes
// about. Only who may write the file can keep others waiting. False, after a message, when the other run has not come
// to an end: nothing may be touched then. Where the file cannot be opened there is no turn to wait for.
bool begin_turn(const char *path, int *turn);

// Harmless after a begin_turn that got no turn.
void end_turn(int turn);

#endif
