/* What all programs and libraries of the mutated build share: which mutant lives, and who was asked. */

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

int proofMutant = -1;
unsigned char* proofReached = NULL;

__attribute__((constructor(101))) static void readEnvironment(void) {
  const char* const mutant = getenv("PROOF_MUTANT");
  const char* const record = getenv("PROOF_REACHED");
  if (mutant != NULL) {
    proofMutant = atoi(mutant);
  }
  if (record != NULL) {
    const int file = open(record, O_RDWR | O_CLOEXEC);
    struct stat facts;
    if (file < 0 || fstat(file, &facts) != 0) {
      abort();
    }
    void* const bytes = mmap(NULL, (size_t)facts.st_size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (bytes == MAP_FAILED) {
      abort();
    }
    close(file);
    proofReached = bytes;
  }
}
