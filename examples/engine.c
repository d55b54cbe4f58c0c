/*
 * A minimal engine: evaluates UPPER, SUBSTR and INSTR on one string held in
 * two database character sets (AL32UTF8 and SHIFT_JIS), the way an engine
 * calls lxk for a row.  Exits 1 when a result is not the expected one.
 *
 * Build against an installed lxk, with CMake (examples/CMakeLists.txt) or
 *   cc engine.c $(pkg-config --cflags --libs lxk) -o engine
 */
#include <lxk/lxk.h>
#include <lxk/nlsenv.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

/* Prints a result (as UTF-8) and compares it with the expected text. */
static void show(NlsContext* ctx, const char* charset, const char* what, const uint8_t* bytes,
                 uint32_t length, const char* expected) {
  uint8_t utf8[256];
  int32_t n = nlsConvert(ctx, "AL32UTF8", utf8, sizeof utf8, charset, bytes, length);
  if (n < 0) n = 0;
  int ok = (size_t)n == strlen(expected) && memcmp(utf8, expected, (size_t)n) == 0;
  printf("%-9s %s = %.*s%s\n", charset, what, (int)n, (const char*)utf8, ok ? "" : "  <- wrong");
  failures += !ok;
}

static void evaluate(NlsContext* ctx, const char* charset) {
  CharsetHandle* handle = nlsHandleCreate(ctx, charset, "BINARY");
  if (handle == NULL) {
    printf("%s: no handle\n", charset);
    failures++;
    return;
  }
  /* The row's value, converted from UTF-8 into the set it is stored in. */
  const char* row = "Hello, 東京タワー";
  uint8_t text[64];
  int32_t length = nlsConvert(ctx, charset, text, sizeof text, "AL32UTF8", (const uint8_t*)row,
                              (uint32_t)strlen(row));
  if (length < 0) {
    printf("%s: conversion failed\n", charset);
    failures++;
    nlsHandleDestroy(handle);
    return;
  }

  uint8_t out[64];
  uint32_t written =
      lxkToUL(out, sizeof out, text, (uint32_t)length, CASE_DIRECTION, 0, handle, ctx);
  show(ctx, charset, "UPPER(s)", out, written, "HELLO, 東京タワー");

  uint32_t resultLength = 0;
  uint32_t resultWord = 0;
  const uint8_t* part = lxkSubstr(&resultLength, out, sizeof out, text, (uint32_t)length, -3, 3, 0,
                                  &resultWord, handle, ctx);
  show(ctx, charset, "SUBSTR(s, -3, 3)", resultLength ? part : out, resultLength, "タワー");

  uint8_t search[8];
  int32_t searchLength =
      nlsConvert(ctx, charset, search, sizeof search, "AL32UTF8", (const uint8_t*)"京", 3);
  uint32_t position =
      lxkInstr(text, (uint32_t)length, search, (uint32_t)searchLength, 1, 1, 0, handle, ctx);
  printf("%-9s %s = %u%s\n", charset, "INSTR(s, '京')", position,
         position == 9 ? "" : "  <- wrong");
  failures += position != 9;
  nlsHandleDestroy(handle);
}

int main(void) {
  /* One context per thread; handles may be shared. */
  NlsContext* ctx = nlsContextCreate();
  if (ctx == NULL) {
    puts("no context: the character-set catalogue could not be loaded");
    return 1;
  }
  evaluate(ctx, "AL32UTF8");
  evaluate(ctx, "SHIFT_JIS");
  nlsContextDestroy(ctx);
  return failures == 0 ? 0 : 1;
}
