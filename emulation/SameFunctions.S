// The functions that Linux's C library has in the same terms: a table of pairs, each a name with the
// underscore of macOS's C and an address, ended by a null pointer.

.macro same names:vararg
  .irp name, \names
    .section .rodata
    .Lname_\name: .asciz "_\name"
    .data
    .quad .Lname_\name, \name
  .endr
.endm

.data
.balign 8
.globl same_functions
same_functions:

// Files and folders
same access, chdir, chmod, close, dup, dup2, fchmod, fdopendir, flock, ftruncate, getcwd, isatty
same link, mkdir, mkdtemp, mkstemp, opendir, pipe, read, readlink, rmdir, symlink, truncate
same write

// Streams
same fclose, fdopen, ferror, fflush, fgetc, fileno, fopen, fputc, fputs, fputwc, fread, fseek
same fseeko, ftell, ftello, fwrite, getc, getwc, popen, putchar, puts, remove, rename, rewind
same setbuf, tmpfile, ungetc, ungetwc

// Memory, strings and numbers
same __divti3, aligned_alloc, atoi, bzero, calloc, free, malloc, memchr, memcmp, memcpy
same memmove, memset, nextafter, realloc, strcasecmp, strchr, strcmp, strdup, strlen, strncmp
same strrchr, strstr, strtod, strtof, strtol, strtoll, strtoul, strtoull, wcscmp, wcslen
same wcsstr, wcstod, wcstof, wcstol, wcstoll, wcstoul, wcstoull, wmemchr, wmemcmp

// The process
same _exit, abort, alarm, execv, exit, fork, getenv, geteuid, getpid, setenv, setgid
same setgroups, setuid

// Time
same localtime, localtime_r, nanosleep, strftime, time, timegm, tzset

.data
.quad 0

.section .note.GNU-stack, "", @progbits
