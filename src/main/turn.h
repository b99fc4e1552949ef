// Two runs of a service would mix in the files that both build before they put them into place, so they take turns.
#ifndef TESSERA_MAIN_TURN_H
#define TESSERA_MAIN_TURN_H

// Waits, 40 seconds at most, until no other run works in `directory`, and stores what ends this run's turn; so does the
// end of the process, however it comes about. No file is left for it. False, after a message, when the other run has
// not come to an end: it is stuck, and this one had better go on, but with files of its own. Where nothing can be
// locked there is no turn to wait for.
bool begin_turn(const char *directory, int *turn);

// Harmless after a begin_turn that got no turn.
void end_turn(int turn);

#endif
