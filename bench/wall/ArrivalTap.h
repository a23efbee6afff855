#pragma once

/// Looks over the receiving thread's shoulder: while it is on, every datagram that recvmmsg gives is read for
/// what it ends, and the time at which the machine's network code took the last datagram of a picture (or all
/// that was sent together with it) is kept until the picture is shown. So the time that the receiving thread
/// needs to notice it counts too. It stands in front of the C library's recvmmsg for this program alone; while
/// it is off it only passes on.
namespace arrival_tap
{

/// Switches it on, empty. To be called before the channels are opened, and switched off after they are closed.
void Start();
void Stop();

/// The age in milliseconds of the channel's oldest picture that has arrived and has not been taken yet, counted
/// from its last datagram; takes it. Below 0 when there is none.
double TakeAge(int channel);

/// Pictures that have arrived and were not taken.
int Waiting(int channel);

}  // namespace arrival_tap
