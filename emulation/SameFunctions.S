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
same access, chdir, chmod, chown, close, dup, dup2, fchdir, fchmod, fdopendir, fsync
same ftruncate, getcwd, isatty, link, lseek, mkdir, mkdtemp, mkfifo, mkstemp, opendir, pipe
same poll, pread, pwrite, read, readlink, realpath, rewinddir, rmdir, symlink, truncate, umask
same unlink, write

// Streams
same clearerr, fclose, fdopen, feof, ferror, fflush, fgetc, fgets, fgetwc, fileno, flockfile
same fopen, fputc, fputs, fputwc, fread, freopen, fseek, fseeko, ftell, ftello, funlockfile
same fwide, fwrite, getc, getchar, getline, getwc, popen, putc, putchar, puts, putwc, remove
same rename, rewind, setbuf, setvbuf, tmpfile, ungetc, ungetwc

// Memory, strings and numbers
same __divti3, __modti3, __udivti3, __umodti3, abs, aligned_alloc, atof, atol, atoll, bcmp
same atoi, bsearch, bzero, calloc, ceil, cos, exp, fabs, floor, fmod, free, frexp, ldexp, log, log10
same log2, malloc, memchr, memcmp, memcpy, memmem, memmove, memset, modf, mprotect, munmap
same nextafter, pow, qsort, rand, realloc, round, sin, sqrt, srand, stpcpy, strcasecmp, strcat
same strchr, strcmp, strcpy, strcspn, strdup, strlen, strncasecmp, strncat, strncmp, strncpy
same strndup, strnlen, strpbrk, strrchr, strspn, strstr, strtod, strtof, strtok, strtok_r
same strtol, strtoll, strtoul, strtoull, tan, wcschr, wcscmp, wcscpy, wcslen, wcsncmp, wcstod
same wcsstr, wcstof, wcstol, wcstoll, wcstoul, wcstoull, wmemchr, wmemcmp, wmemcpy, wmemmove, wmemset

// Characters
same btowc, isalnum, isalpha, iscntrl, isdigit, isgraph, islower, isprint, ispunct, isspace
same isupper, iswalpha, iswdigit, iswspace, isxdigit, mbrlen, mbrtowc, mbsrtowcs, mbstowcs
same mbtowc, strcoll, strxfrm, tolower, toupper, towlower, towupper, wcrtomb, wcscoll
same wcstombs, wctob, wctomb

// The process
same _Exit, _exit, abort, execv, execve, execvp, exit, fork, getegid, getenv, geteuid, getgid
same getpid, getppid, getuid, putenv, setenv, setgid, setgroups, setuid, unsetenv

// Signals
same alarm, pause

// Time; microseconds have 32 bits, and what they are stored in has room for 64
same clock, difftime, gettimeofday, gmtime, gmtime_r, localtime, localtime_r, mktime
same nanosleep, sleep, strftime, time, timegm, tzset, usleep

.data
.quad 0

.section .note.GNU-stack, "", @progbits
