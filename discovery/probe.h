// Reading something in a throw-away copy of the process, to see whether it can be read.
#pragma once

namespace discovery {

enum class Probe {
  Survived,  // or what became of the child is not known
  Killed,    // the child was ended by a signal
  NotForked,
};

// Forks, lets the child read, and waits for it. The child belongs to an object manager that may
// have handlers of its own, which must not act in a copy: fatal signals are back to their
// defaults before it reads. A child that still reads after ten seconds is ended. It leaves no core.
// When it has read it calls exit(), so exit handlers of the process run in it too. If they take
// longer than a tenth of a second, or one of them fails, the child ends without them, and counts as
// one that has read. read must take no lock and log nothing.
Probe probe(void (*read)(const void* what), const void* what);

}  // namespace discovery
