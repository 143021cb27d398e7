// The bounded streams against the C library's formatting.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>

#include "util/ut_BufferStream.h"

namespace {

using Text = std::array<char, 256>;

constexpr const char* format = "%-14s: %-10s (%5d), suspend: %-5s";

void libraryFormat(benchmark::State& state) {
  Text text;
  while (state.KeepRunning()) {
    std::snprintf(text.data(), text.size(), format, "eventlog", "Up", 412, "false");
    benchmark::DoNotOptimize(text);
  }
}

void putF(benchmark::State& state) {
  Text text;
  while (state.KeepRunning()) {
    utility::BufferStream stream(text.data(), text.size(), false);
    stream.PutF(format, "eventlog", "Up", 412, "false");
    benchmark::DoNotOptimize(text);
  }
}

// Its length is not to be known when the library's call is compiled.
const char* line = "/app/bin/web --config /cfg/web.conf --port 8080 --log /var/log/mc";

void libraryText(benchmark::State& state) {
  Text text;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(line);
    std::snprintf(text.data(), text.size(), "%s", line);
    benchmark::DoNotOptimize(text);
  }
}

void putS(benchmark::State& state) {
  Text text;
  while (state.KeepRunning()) {
    utility::BufferStream stream(text.data(), text.size(), false);
    stream.PutS(line);
    benchmark::DoNotOptimize(text);
  }
}

// A character each call, as many as the line has.
void libraryCharacters(benchmark::State& state) {
  Text text;
  while (state.KeepRunning()) {
    std::size_t at = 0;
    for (const char* c = line; *c != '\0'; ++c) {
      at += static_cast<std::size_t>(std::snprintf(&text[at], text.size() - at, "%c", *c));
    }
    benchmark::DoNotOptimize(text);
  }
}

void putC(benchmark::State& state) {
  Text text;
  while (state.KeepRunning()) {
    utility::BufferStream stream(text.data(), text.size(), false);
    for (const char* c = line; *c != '\0'; ++c) stream.PutC(*c);
    benchmark::DoNotOptimize(text);
  }
}

BENCHMARK(libraryFormat)->Name("snprintf, formatted");
BENCHMARK(putF)->Name("PutF");
BENCHMARK(libraryText)->Name("snprintf, text");
BENCHMARK(putS)->Name("PutS");
BENCHMARK(libraryCharacters)->Name("snprintf, characters");
BENCHMARK(putC)->Name("PutC");

}  // namespace

BENCHMARK_MAIN();
