// For builds with the leak sanitizer: what a module leaves allocated on purpose is its engine,
// listener and wrapper after deinit, and the context as well after an init that hands nothing out.
// The C library's dprintf loses its buffer when the descriptor takes nothing. The line editor keeps
// the names of its user's functions, copied with wcsdup, for ever.

// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizer looks for these names.
extern "C" {

const char* __lsan_default_suppressions() {
  return "leak:compensation_init\nleak:_IO_file_doallocate\nleak:wcsdup\n";
}
const char* __lsan_default_options() { return "print_suppressions=0"; }

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
