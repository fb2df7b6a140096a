// facts_process.h - the process that reads files which may be made to harm.
//
// Tags nest, and a file made for the purpose makes whoever reads them run out
// of stack. So a process of its own does it, which is this program once more:
// it gets open files over a socket and answers with their facts. When a file
// kills it, or takes too long, the next file gets a new one.
#ifndef QM_SERVE_FACTS_PROCESS_H
#define QM_SERVE_FACTS_PROCESS_H

#include "qm-serve/media_facts.h"

namespace serve {

// The one argument of the program that makes it this process, and its main
// function: serves files until the other end of its standard input closes.
inline constexpr char facts_argument[] = "-facts-process";
int                   run_facts_process();

// The facts of an open file of this MIME type, none on failure. Threads: any;
// one file is read at a time.
MediaFacts ask_facts_process(int fd, const char *type);

// Ends the process, if there is one.
void end_facts_process();

}

#endif
