#pragma once

/// Prints nanoseconds a bin of the H.264 arithmetic decoder alone at several bits a bin, each the median of
/// `runs`.
void TimeH264Engine(int runs);
