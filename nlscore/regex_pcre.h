// PCRE2's 8-bit and 16-bit libraries behind one set of names, so that the
// engine's search paths are written once over the unit type.
#pragma once

#define PCRE2_CODE_UNIT_WIDTH 0
#include <pcre2.h>

#include <cstdint>

namespace nls::regex {

template <class Unit>
struct Pcre;

template <>
struct Pcre<uint8_t> {
  using Code = pcre2_code_8;
  using MatchData = pcre2_match_data_8;
  using MatchContext = pcre2_match_context_8;
  using CompileContext = pcre2_compile_context_8;
  using GeneralContext = pcre2_general_context_8;
  using JitStack = pcre2_jit_stack_8;
  static Code* compile(const uint8_t* p, size_t n, uint32_t options, int* error, size_t* offset,
                       CompileContext* cc) {
    return pcre2_compile_8(p, n, options, error, offset, cc);
  }
  static CompileContext* compileContext(GeneralContext* g) {
    return pcre2_compile_context_create_8(g);
  }
  static void freeCompileContext(CompileContext* c) { pcre2_compile_context_free_8(c); }
  static int jitCompile(Code* c) {
    return pcre2_jit_compile_8(c, PCRE2_JIT_COMPLETE | PCRE2_JIT_PARTIAL_HARD);
  }
  static void freeCode(Code* c) { pcre2_code_free_8(c); }
  static MatchData* matchData(Code* c, GeneralContext* g) {
    return pcre2_match_data_create_from_pattern_8(c, g);
  }
  static void freeMatchData(MatchData* m) { pcre2_match_data_free_8(m); }
  static MatchContext* matchContext(GeneralContext* g) { return pcre2_match_context_create_8(g); }
  static void freeMatchContext(MatchContext* m) { pcre2_match_context_free_8(m); }
  static GeneralContext* general(void* (*a)(size_t, void*), void (*f)(void*, void*)) {
    return pcre2_general_context_create_8(a, f, nullptr);
  }
  static void freeGeneral(GeneralContext* g) { pcre2_general_context_free_8(g); }
  static JitStack* jitStack(size_t lo, size_t hi, GeneralContext* g) {
    return pcre2_jit_stack_create_8(lo, hi, g);
  }
  static void freeJitStack(JitStack* s) { pcre2_jit_stack_free_8(s); }
  static void assignJitStack(MatchContext* m, JitStack* s) {
    pcre2_jit_stack_assign_8(m, nullptr, s);
  }
  static void limits(MatchContext* m, uint32_t match, uint32_t depth) {
    pcre2_set_match_limit_8(m, match);
    pcre2_set_depth_limit_8(m, depth);
  }
  static int info(const Code* c, uint32_t what, void* where) {
    return pcre2_pattern_info_8(c, what, where);
  }
  static int match(const Code* c, const uint8_t* s, size_t n, size_t start, uint32_t options,
                   MatchData* md, MatchContext* mc) {
    return pcre2_match_8(c, s, n, start, options, md, mc);
  }
  static size_t* ovector(MatchData* md) { return pcre2_get_ovector_pointer_8(md); }
};

template <>
struct Pcre<uint16_t> {
  using Code = pcre2_code_16;
  using MatchData = pcre2_match_data_16;
  using MatchContext = pcre2_match_context_16;
  using CompileContext = pcre2_compile_context_16;
  using GeneralContext = pcre2_general_context_16;
  using JitStack = pcre2_jit_stack_16;
  static Code* compile(const uint16_t* p, size_t n, uint32_t options, int* error, size_t* offset,
                       CompileContext* cc) {
    return pcre2_compile_16(p, n, options, error, offset, cc);
  }
  static CompileContext* compileContext(GeneralContext* g) {
    return pcre2_compile_context_create_16(g);
  }
  static void freeCompileContext(CompileContext* c) { pcre2_compile_context_free_16(c); }
  static int jitCompile(Code* c) {
    return pcre2_jit_compile_16(c, PCRE2_JIT_COMPLETE | PCRE2_JIT_PARTIAL_HARD);
  }
  static void freeCode(Code* c) { pcre2_code_free_16(c); }
  static MatchData* matchData(Code* c, GeneralContext* g) {
    return pcre2_match_data_create_from_pattern_16(c, g);
  }
  static void freeMatchData(MatchData* m) { pcre2_match_data_free_16(m); }
  static MatchContext* matchContext(GeneralContext* g) { return pcre2_match_context_create_16(g); }
  static void freeMatchContext(MatchContext* m) { pcre2_match_context_free_16(m); }
  static GeneralContext* general(void* (*a)(size_t, void*), void (*f)(void*, void*)) {
    return pcre2_general_context_create_16(a, f, nullptr);
  }
  static void freeGeneral(GeneralContext* g) { pcre2_general_context_free_16(g); }
  static JitStack* jitStack(size_t lo, size_t hi, GeneralContext* g) {
    return pcre2_jit_stack_create_16(lo, hi, g);
  }
  static void freeJitStack(JitStack* s) { pcre2_jit_stack_free_16(s); }
  static void assignJitStack(MatchContext* m, JitStack* s) {
    pcre2_jit_stack_assign_16(m, nullptr, s);
  }
  static void limits(MatchContext* m, uint32_t match, uint32_t depth) {
    pcre2_set_match_limit_16(m, match);
    pcre2_set_depth_limit_16(m, depth);
  }
  static int info(const Code* c, uint32_t what, void* where) {
    return pcre2_pattern_info_16(c, what, where);
  }
  static int match(const Code* c, const uint16_t* s, size_t n, size_t start, uint32_t options,
                   MatchData* md, MatchContext* mc) {
    return pcre2_match_16(c, s, n, start, options, md, mc);
  }
  static size_t* ovector(MatchData* md) { return pcre2_get_ovector_pointer_16(md); }
};

}  // namespace nls::regex
