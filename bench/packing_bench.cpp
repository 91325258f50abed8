// The speed of packing numbers, and of building and parsing a record like the record of a message.
#include "zandrel/storage/packing.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/storage/Hio.h"

namespace {

// The contents of a stored message: a number, a moment, flags, named values, and a bag of concepts.
struct Message {
    unsigned int id = 0;
    long long moment = 0;
    std::map<qtString, qtString> values;
    std::vector<Concept> concepts;
    std::vector<double> weights;
};

Message make_message(std::size_t concept_count) {
    std::mt19937 random(7);
    Message message;
    message.id = 4711;
    message.moment = 1700000000000000;
    message.values = {
        {"_Categories", "billing"}, {"_ExternalId", "a-0815"}, {"subject", "invoice"}};
    for (std::size_t index = 0; index < concept_count; ++index) {
        message.concepts.push_back(Concept::insert("term" + std::to_string(random() % 100000)));
        message.weights.push_back(static_cast<double>(random() % 1000) / 1000);
    }
    return message;
}

template <class Device>
void dump(Hio<Device>& io, const Message& message) {
    io << message.id << message.moment;
    io.WriteBool(true);
    io << message.values;
    io.WriteCount(message.concepts.size());
    for (std::size_t index = 0; index < message.concepts.size(); ++index) {
        io << message.concepts[index] << message.weights[index];
    }
}

template <class Device>
void load(Hio<Device>& io, Message& message) {
    io >> message.id >> message.moment;
    benchmark::DoNotOptimize(io.ReadBool());
    io >> message.values;
    const unsigned int count = io.ReadCount(12);
    message.concepts.resize(count);
    message.weights.resize(count);
    for (unsigned int index = 0; index < count; ++index) {
        io >> message.concepts[index] >> message.weights[index];
    }
}

template <class Device>
void BM_PackMessage(benchmark::State& state) {
    const Message message = make_message(static_cast<std::size_t>(state.range(0)));
    std::int64_t byte_count = 0;
    for (auto _ : state) {
        SegBuf buffer;
        Hio<Device> io(new HSegment(buffer, 'w'));
        dump(io, message);
        benchmark::DoNotOptimize(buffer.segments.data());
        byte_count += buffer.size;
    }
    state.SetBytesProcessed(byte_count);
}

template <class Device>
void BM_UnpackMessage(benchmark::State& state) {
    const Message message = make_message(static_cast<std::size_t>(state.range(0)));
    SegBuf buffer;
    {
        Hio<Device> io(new HSegment(buffer, 'w'));
        dump(io, message);
    }
    Message back;
    for (auto _ : state) {
        Hio<Device> io(new HSegment(buffer, 'r'));
        load(io, back);
        benchmark::DoNotOptimize(back.weights.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(buffer.size) * state.iterations());
}

template <class Number>
void BM_PackNumbers(benchmark::State& state) {
    constexpr std::size_t kCount = 1000;
    std::vector<Number> numbers(kCount, Number{42});
    std::vector<char> bytes(kCount * sizeof(Number));
    for (auto _ : state) {
        benchmark::DoNotOptimize(numbers.data());
        char* out = bytes.data();
        for (const Number number : numbers) {
            out += qtPackUssDiet(number, out);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(kCount) * state.iterations());
}

template <class Number>
void BM_UnpackNumbers(benchmark::State& state) {
    constexpr std::size_t kCount = 1000;
    std::vector<Number> numbers(kCount);
    std::vector<char> bytes(kCount * sizeof(Number), 'x');
    for (auto _ : state) {
        benchmark::DoNotOptimize(bytes.data());
        const char* in = bytes.data();
        for (Number& number : numbers) {
            in += qtUnpackUssDiet(number, in);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(kCount) * state.iterations());
}

BENCHMARK_TEMPLATE(BM_PackMessage, HSegment)->Arg(0)->Arg(100)->Arg(10000);
BENCHMARK_TEMPLATE(BM_PackMessage, Generic32)->Arg(0)->Arg(100)->Arg(10000);
BENCHMARK_TEMPLATE(BM_UnpackMessage, HSegment)->Arg(0)->Arg(100)->Arg(10000);
BENCHMARK_TEMPLATE(BM_UnpackMessage, Generic32)->Arg(0)->Arg(100)->Arg(10000);
BENCHMARK_TEMPLATE(BM_PackNumbers, unsigned int);
BENCHMARK_TEMPLATE(BM_PackNumbers, double);
BENCHMARK_TEMPLATE(BM_UnpackNumbers, unsigned int);
BENCHMARK_TEMPLATE(BM_UnpackNumbers, double);

}  // namespace
