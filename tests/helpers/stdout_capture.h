#pragma once
// What a piece of engine code prints on standard output, caught through a temporary file.
#include <unistd.h>

#include <cstdio>
#include <string>

template <class Body>
std::string captured_stdout(Body body) {
  std::fflush(stdout);
  const int saved = dup(1);
  std::FILE* file = std::tmpfile();
  dup2(fileno(file), 1);
  body();
  std::fflush(stdout);
  dup2(saved, 1);
  close(saved);
  std::string text;
  std::rewind(file);
  for (int c; (c = std::fgetc(file)) != EOF;) text += char(c);
  std::fclose(file);
  return text;
}
