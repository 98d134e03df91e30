// How often the waits of the daemon look up, in milliseconds. A wait that a wake-up can end is not here:
// these are for what nobody can signal, a stop above all, because the stop signals are open in the main
// thread's wait only.
#pragma once

/// A wait for ISS, for a place in a queue or for the life cycle looks whether the process is to stop: what is
/// left of the 2 s that a stop may take is enough for the rest.
inline constexpr int stopCheckInterval = 100;

/// Start-up waits for the bus thread and looks for a stop: short, because nothing else runs yet and a stop
/// that is asked for now should be as prompt as one later.
inline constexpr int startCheckInterval = 20;

/// A thread that is to end is woken again: it may have tested `running` just before it began to wait.
inline constexpr int wakeAgainInterval = 5;
