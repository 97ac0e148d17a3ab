// Writing and reading ints, doubles, Strings and byte vectors one item at a time through
// Util::DataStream&, in both byte orders, beside memcpy of the same bytes per item,
// QDataStream on a QBuffer and JUCE's MemoryOutputStream / MemoryInputStream. Every writer
// knows the total size and reserves it.
#include "Util/ByteStream.h"
#include "bench/bench_rows.h"

#if VELMORA_BENCH_QT
#include <QBuffer>
#include <QByteArray>
#include <QDataStream>
#endif
#if VELMORA_BENCH_JUCE
#include <juce_core/juce_core.h>
#endif

#include <cstring>
#include <memory>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

std::vector<int> const& Ints() {
    static std::vector<int> const v = [] {
        std::vector<int> out(4u << 20);
        for (int& x : out)
            x = static_cast<int>(bench::Random()());
        return out;
    }();
    return v;
}
std::vector<double> const& Doubles() {
    static std::vector<double> const v = [] {
        std::vector<double> out(4u << 20);
        for (double& x : out)
            x = static_cast<double>(static_cast<int>(bench::Random()())) / 7.0;
        return out;
    }();
    return v;
}
// Names of a few to a few dozen characters.
std::vector<String> const& Strings() {
    static std::vector<String> const v = [] {
        std::vector<String> out;
        for (int i = 0; i < (1 << 20); ++i) {
            std::string s = "take-" + std::to_string(i);
            s.append(bench::Random()() % 24, 'x');
            out.emplace_back(s.c_str());
        }
        return out;
    }();
    return v;
}
std::vector<Bytes> const& Vectors() {
    static std::vector<Bytes> const v = [] {
        std::vector<Bytes> out(1 << 16, Bytes(256));
        for (Bytes& b : out)
            for (unsigned char& c : b)
                c = static_cast<unsigned char>(bench::Random()());
        return out;
    }();
    return v;
}

// The calls go through the interface, as a caller that is handed a DataStream& makes them:
// the stream's type is hidden from the compiler, so each call is a virtual one.
template <typename Item>
void writeAll(Util::DataStream& stream, std::vector<Item> const& items) {
    Util::DataStream* s = &stream;
    benchmark::DoNotOptimize(s);
    for (Item const& item : items)
        *s << item;
}
template <typename Item>
void readAll(Util::DataStream& stream, std::vector<Item>& items) {
    Util::DataStream* s = &stream;
    benchmark::DoNotOptimize(s);
    for (Item& item : items)
        *s >> item;
}

std::size_t streamBytes(std::vector<int> const& v) {
    return v.size() * 4;
}
std::size_t streamBytes(std::vector<double> const& v) {
    return v.size() * 8;
}
std::size_t streamBytes(std::vector<String> const& v) {
    std::size_t n = 0;
    for (String const& s : v)
        n += 4 + s.GetLength();
    return n;
}
std::size_t streamBytes(std::vector<Bytes> const& v) {
    return v.size() * 256;
}

// memcpy of each item's bytes (a String as its length and its characters).
unsigned char* copyItem(unsigned char* p, int v) {
    std::memcpy(p, &v, 4);
    return p + 4;
}
unsigned char* copyItem(unsigned char* p, double v) {
    std::memcpy(p, &v, 8);
    return p + 8;
}
unsigned char* copyItem(unsigned char* p, String const& v) {
    unsigned int const n = v.GetLength();
    std::memcpy(p, &n, 4);
    std::memcpy(p + 4, v.Latin1(), n);
    return p + 4 + n;
}
unsigned char* copyItem(unsigned char* p, Bytes const& v) {
    std::memcpy(p, v.data(), v.size());
    return p + v.size();
}
unsigned char const* readItem(unsigned char const* p, int& v) {
    std::memcpy(&v, p, 4);
    return p + 4;
}
unsigned char const* readItem(unsigned char const* p, double& v) {
    std::memcpy(&v, p, 8);
    return p + 8;
}
unsigned char const* readItem(unsigned char const* p, String& v) {
    unsigned int n;
    std::memcpy(&n, p, 4);
    v = String(reinterpret_cast<char const*>(p + 4), n);
    return p + 4 + n;
}
unsigned char const* readItem(unsigned char const* p, Bytes& v) {
    std::memcpy(v.data(), p, v.size());
    return p + v.size();
}

#if VELMORA_BENCH_QT
void qtWrite(QDataStream& s, int v) {
    s << static_cast<qint32>(v);
}
void qtWrite(QDataStream& s, double v) {
    s << v;
}
void qtWrite(QDataStream& s, String const& v) {
    s.writeBytes(v.Latin1(), v.GetLength());
}
void qtWrite(QDataStream& s, Bytes const& v) {
    s.writeRawData(reinterpret_cast<char const*>(v.data()), static_cast<int>(v.size()));
}
void qtRead(QDataStream& s, int& v) {
    qint32 x;
    s >> x;
    v = x;
}
void qtRead(QDataStream& s, double& v) {
    s >> v;
}
void qtRead(QDataStream& s, String& v) {
    QByteArray text;
    s >> text;
    v = String(text.constData(), static_cast<unsigned int>(text.size()));
}
void qtRead(QDataStream& s, Bytes& v) {
    s.readRawData(reinterpret_cast<char*>(v.data()), static_cast<int>(v.size()));
}
#endif

#if VELMORA_BENCH_JUCE
void juceWrite(juce::MemoryOutputStream& s, int v, bool big) {
    big ? s.writeIntBigEndian(v) : s.writeInt(v);
}
void juceWrite(juce::MemoryOutputStream& s, double v, bool big) {
    big ? s.writeDoubleBigEndian(v) : s.writeDouble(v);
}
void juceWrite(juce::MemoryOutputStream& s, String const& v, bool big) {
    juceWrite(s, static_cast<int>(v.GetLength()), big);
    s.write(v.Latin1(), v.GetLength());
}
void juceWrite(juce::MemoryOutputStream& s, Bytes const& v, bool) {
    s.write(v.data(), v.size());
}
void juceRead(juce::MemoryInputStream& s, int& v, bool big) {
    v = big ? s.readIntBigEndian() : s.readInt();
}
void juceRead(juce::MemoryInputStream& s, double& v, bool big) {
    v = big ? s.readDoubleBigEndian() : s.readDouble();
}
void juceRead(juce::MemoryInputStream& s, String& v, bool big) {
    int n = 0;
    juceRead(s, n, big);
    std::vector<char> text(static_cast<std::size_t>(n));
    s.read(text.data(), n);
    v = String(text.data(), static_cast<unsigned int>(n));
}
void juceRead(juce::MemoryInputStream& s, Bytes& v, bool) {
    s.read(v.data(), static_cast<int>(v.size()));
}
#endif

template <typename Item>
void add(char const* type, char const* count, std::vector<Item> const& (*items)()) {
    for (bool big : {true, false}) {
        std::string const size = std::string(count) + (big ? ", big-endian" : ", little-endian");
        auto const order = big ? Util::DataStream::ENDIAN_BIG : Util::DataStream::ENDIAN_LITTLE;
        std::string const write = std::string("ByteStream << ") + type;
        std::string const read = std::string("ByteStream >> ") + type;
        auto const done = [items](benchmark::State& state) {
            bench::CountItems(state, static_cast<std::int64_t>(items().size()));
            state.SetBytesProcessed(state.iterations() *
                                    static_cast<std::int64_t>(streamBytes(items())));
        };
        bench::Row(write, size, "velmora", [=](benchmark::State& state) {
            items(); // made before the clock runs
            for (auto _ : state) {
                Util::ByteStream s(static_cast<unsigned int>(streamBytes(items())));
                s.SetEndianType(order);
                writeAll(s, items());
                benchmark::DoNotOptimize(s.GetBuffer());
            }
            done(state);
        });
        bench::Row(read, size, "velmora", [=](benchmark::State& state) {
            Util::ByteStream s(static_cast<unsigned int>(streamBytes(items())));
            s.SetEndianType(order);
            writeAll(s, items());
            std::vector<Item> out = items();
            for (auto _ : state) {
                s.SetPosition(0);
                readAll(s, out);
                benchmark::DoNotOptimize(out.data());
            }
            if (out != items())
                bench::Mismatch("ByteStream read back");
            done(state);
        });
        bench::Row(write, size, "memcpy", [=](benchmark::State& state) {
            items();
            for (auto _ : state) {
                std::unique_ptr<unsigned char[]> buffer(new unsigned char[streamBytes(items())]);
                unsigned char* p = buffer.get();
                for (Item const& item : items())
                    p = copyItem(p, item);
                benchmark::DoNotOptimize(buffer.get());
            }
            done(state);
        });
        bench::Row(read, size, "memcpy", [=](benchmark::State& state) {
            std::vector<unsigned char> buffer(streamBytes(items()));
            unsigned char* w = buffer.data();
            for (Item const& item : items())
                w = copyItem(w, item);
            std::vector<Item> out = items();
            for (auto _ : state) {
                unsigned char const* p = buffer.data();
                for (Item& item : out)
                    p = readItem(p, item);
                benchmark::DoNotOptimize(out.data());
            }
            done(state);
        });
#if VELMORA_BENCH_QT
        auto const qtOrder = big ? QDataStream::BigEndian : QDataStream::LittleEndian;
        bench::Row(write, size, "qt", [=](benchmark::State& state) {
            items();
            for (auto _ : state) {
                QByteArray bytes;
                bytes.reserve(static_cast<int>(streamBytes(items())));
                QBuffer buffer(&bytes);
                buffer.open(QIODevice::WriteOnly);
                QDataStream s(&buffer);
                s.setByteOrder(qtOrder);
                for (Item const& item : items())
                    qtWrite(s, item);
                benchmark::DoNotOptimize(bytes.data());
            }
            done(state);
        });
        bench::Row(read, size, "qt", [=](benchmark::State& state) {
            QByteArray bytes;
            {
                QBuffer buffer(&bytes);
                buffer.open(QIODevice::WriteOnly);
                QDataStream s(&buffer);
                s.setByteOrder(qtOrder);
                for (Item const& item : items())
                    qtWrite(s, item);
            }
            std::vector<Item> out = items();
            for (auto _ : state) {
                QBuffer buffer(&bytes);
                buffer.open(QIODevice::ReadOnly);
                QDataStream s(&buffer);
                s.setByteOrder(qtOrder);
                for (Item& item : out)
                    qtRead(s, item);
                benchmark::DoNotOptimize(out.data());
            }
            done(state);
        });
#endif
#if VELMORA_BENCH_JUCE
        bench::Row(write, size, "juce", [=](benchmark::State& state) {
            items();
            for (auto _ : state) {
                juce::MemoryOutputStream s(streamBytes(items()));
                for (Item const& item : items())
                    juceWrite(s, item, big);
                benchmark::DoNotOptimize(s.getData());
            }
            done(state);
        });
        bench::Row(read, size, "juce", [=](benchmark::State& state) {
            juce::MemoryOutputStream written(streamBytes(items()));
            for (Item const& item : items())
                juceWrite(written, item, big);
            std::vector<Item> out = items();
            for (auto _ : state) {
                juce::MemoryInputStream s(written.getData(), written.getDataSize(), false);
                for (Item& item : out)
                    juceRead(s, item, big);
                benchmark::DoNotOptimize(out.data());
            }
            done(state);
        });
#endif
    }
}

int const registered = (add("int", "4M", Ints), add("double", "4M", Doubles),
                        add("String", "1M", Strings), add("bytes", "64k x 256 B", Vectors), 0);

} // namespace
