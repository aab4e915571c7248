// Ctrl-C and termination requests, as a descriptor that waits can watch, so
// that vrqt always gets to close the program and remove its socket.
#pragma once

namespace vrqt::cli {

class Interrupts
{
public:
    // Blocks SIGINT, SIGTERM and SIGHUP and receives them on a descriptor.
    Interrupts();
    Interrupts(const Interrupts &) = delete;
    Interrupts &operator=(const Interrupts &) = delete;
    ~Interrupts();

    // Readable once one of the signals has arrived; -1 if none could be made.
    int descriptor() const { return signalDescriptor; }
    // True once a signal has arrived (it stays pending on the descriptor).
    bool arrived() const;

private:
    int signalDescriptor = -1;
};

} // namespace vrqt::cli
