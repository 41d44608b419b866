#include "model/ProjectJson.hpp"

#include "model/JsonNumbers.hpp"
#include "model/JsonReader.hpp"
#include "model/JsonWriter.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <variant>

namespace tw {

namespace {

Error formatError(std::string description)
{
    return Error{ErrorDomain::project, projectFormatErrorCode, std::move(description)};
}

Error numberOutOfRange(const std::string& path, std::string_view text)
{
    return formatError("El número de \"" + path + "\" está fuera de rango (" +
                       std::string(text.substr(0, 40)) + ").");
}

// Thrown inside encode/decode and turned into an Error at the boundary.
class FormatFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// ---------------------------------------------------------------------------------------------
// The keys

// A programme is never a day long: a time beyond that is damage, and the arithmetic done with
// it later (1e308 plus anything) stops being finite.
constexpr double maximumTime = 24 * 60 * 60;
// A volume or clip gain of 16 is already +24 dB; equaliser gains in dB are held to the same.
constexpr double maximumVolume = 16;
const double maximumDecibels = 20 * std::log10(maximumVolume);

// A required key must be present; a filled one is a required text that may not be empty for the
// document to open. An optional one may be absent or null; when its value is a list, an empty one
// is left out and null reads as empty.
enum class Need { optional, required, filled };
// What the numbers of a key must lie within for the document to open. A position is a time on
// the timeline, so never before its start.
enum class Bound { none, time, position, volume, decibels };

struct Range {
    double low;
    double high;
};

Range rangeOf(Bound bound)
{
    switch (bound) {
    case Bound::time:
        return {-maximumTime, maximumTime};
    case Bound::position:
        return {0, maximumTime};
    case Bound::volume:
        return {-maximumVolume, maximumVolume};
    case Bound::decibels:
        return {-maximumDecibels, maximumDecibels};
    case Bound::none:
        break;
    }
    return {-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
}

// Every type a key holds. A key of a new type adds the type here and, unless it is an object with
// a table of its own or a list of such objects, its read and write below.
template <class Owner>
using Member =
    std::variant<int Owner::*, bool Owner::*, float Owner::*, double Owner::*, Uuid Owner::*,
                 Preset Owner::*, std::string Owner::*, SharedText Owner::*,
                 std::optional<std::string> Owner::*, std::optional<bool> Owner::*,
                 std::optional<float> Owner::*, std::optional<double> Owner::*,
                 std::optional<std::vector<double>> Owner::*, std::vector<Segment> Owner::*,
                 std::optional<VoiceTreatment> Owner::*, std::optional<LoudnessTarget> Owner::*,
                 std::vector<Chapter> Owner::*, std::optional<EpisodeDetails> Owner::*>;

// One key of an object: read, written and checked as its member's type says. An optional member
// is left out when absent and reads null as absent.
template <class Owner> struct Key {
    std::string_view name;
    Member<Owner> member;
    Need need = Need::optional;
    Bound bound = Bound::none;
};

constexpr Need required = Need::required;
constexpr Need optional = Need::optional;
constexpr Need filled = Need::filled;

// In the order they are written.
constexpr Key<PodcastProject> projectKeys[] = {
    {"version", &PodcastProject::version, required},
    {"voiceFile", &PodcastProject::voiceFile},
    {"musicFile", &PodcastProject::musicFile},
    {"segments", &PodcastProject::segments, required},
    {"recordingPending", &PodcastProject::recordingPending, required},
    {"voiceVolume", &PodcastProject::voiceVolume, required, Bound::volume},
    {"musicVolume", &PodcastProject::musicVolume, required, Bound::volume},
    {"fadeIn", &PodcastProject::fadeIn, required, Bound::time},
    {"fadeOut", &PodcastProject::fadeOut, required, Bound::time},
    {"treatment", &PodcastProject::treatment},
    {"playhead", &PodcastProject::playhead, optional, Bound::time},
    {"timelineZoom", &PodcastProject::timelineZoom}, // clamped when opened, never refused
    {"pendingVoiceFile", &PodcastProject::pendingVoiceFile},
    {"pendingStart", &PodcastProject::pendingStart, optional, Bound::time},
    {"musicSourceStart", &PodcastProject::musicSourceStart, optional, Bound::time},
    {"musicLength", &PodcastProject::musicLength, optional, Bound::time},
    {"musicOffset", &PodcastProject::musicOffset, optional, Bound::time},
    {"fadeInStart", &PodcastProject::fadeInStart, optional, Bound::time},
    {"fadeInEnd", &PodcastProject::fadeInEnd, optional, Bound::time},
    {"fadeOutStart", &PodcastProject::fadeOutStart, optional, Bound::time},
    {"fadeOutEnd", &PodcastProject::fadeOutEnd, optional, Bound::time},
    {"loudnessTarget", &PodcastProject::loudnessTarget}, // absent: the podcast norm
    {"chapters", &PodcastProject::chapters},
    {"episode", &PodcastProject::episode},
};

constexpr Key<Segment> segmentKeys[] = {
    {"id", &Segment::id, required},
    {"start", &Segment::start, required, Bound::time},
    {"duration", &Segment::duration, required, Bound::time},
    {"file", &Segment::file},
    {"timelineStart", &Segment::timelineStart, optional, Bound::time},
    {"gain", &Segment::gain, optional, Bound::volume},
};

constexpr Key<VoiceTreatment> treatmentKeys[] = {
    {"enhance", &VoiceTreatment::enhance, required},
    {"reduceNoise", &VoiceTreatment::reduceNoise, required},
    {"level", &VoiceTreatment::level},
    {"bass", &VoiceTreatment::bass, optional, Bound::decibels},
    {"mid", &VoiceTreatment::mid, optional, Bound::decibels},
    {"treble", &VoiceTreatment::treble, optional, Bound::decibels},
    {"eqBands", &VoiceTreatment::eqBands, optional, Bound::decibels},
    {"preset", &VoiceTreatment::preset, required},
};

constexpr Key<Chapter> chapterKeys[] = {
    {"id", &Chapter::id, required},
    {"time", &Chapter::time, required, Bound::position},
    {"title", &Chapter::title, filled},
};

constexpr Key<EpisodeDetails> episodeKeys[] = {
    {"title", &EpisodeDetails::title},
    {"author", &EpisodeDetails::author},
    {"show", &EpisodeDetails::show},
    {"cover", &EpisodeDetails::cover}, // checked to stay inside the project when opened
};

// Which keys were seen is kept in one 64-bit word.
static_assert(std::size(projectKeys) <= 64);

std::span<const Key<PodcastProject>> keysOf(const PodcastProject&)
{
    return projectKeys;
}
std::span<const Key<Segment>> keysOf(const Segment&)
{
    return segmentKeys;
}
std::span<const Key<VoiceTreatment>> keysOf(const VoiceTreatment&)
{
    return treatmentKeys;
}
std::span<const Key<Chapter>> keysOf(const Chapter&)
{
    return chapterKeys;
}
std::span<const Key<EpisodeDetails>> keysOf(const EpisodeDetails&)
{
    return episodeKeys;
}

// An object of the document: one whose keys have a table.
template <class T>
concept Described = requires(const T& object)
{
    keysOf(object);
};

// Which object a key belongs to, for the messages: "fadeIn", "segments[2].id",
// "treatment.preset". Built only when a message needs it.
struct Place {
    std::string_view parent; // empty at the top level
    std::optional<std::size_t> index;

    std::string path(std::string_view key) const
    {
        if (parent.empty())
            return std::string(key);
        std::string text(parent);
        if (index)
            text += "[" + std::to_string(*index) + "]";
        return text.append(".").append(key);
    }
};

// Runs inside(), with `place` standing for an object nested in the current one.
template <class Inside> void nested(Place& place, Place inner, Inside&& inside)
{
    const Place outer = place;
    place = inner;
    inside();
    place = outer;
}

// ---------------------------------------------------------------------------------------------
// Writing

class ProjectEncoder {
public:
    explicit ProjectEncoder(std::string& out) : out_(out) {}

    template <class Owner> void object(const Owner& owner)
    {
        out_.beginObject();
        for (const Key<Owner>& key : keysOf(owner))
            std::visit([&](auto member) { writeKey(owner.*member, key.name, key.need); },
                       key.member);
        out_.endObject();
    }

private:
    // A key is left out when its optional value is absent or its optional list empty.
    template <class T> void writeKey(const T& value, std::string_view key, Need)
    {
        out_.key(key);
        write(value, key);
    }
    template <class T> void writeKey(const std::optional<T>& value, std::string_view key, Need)
    {
        if (value) {
            out_.key(key);
            write(*value, key);
        }
    }
    void writeKey(const SharedText& value, std::string_view key, Need)
    {
        if (value) {
            out_.key(key);
            write(*value, key);
        }
    }
    template <class T> void writeKey(const std::vector<T>& values, std::string_view key, Need need)
    {
        if (need != Need::optional || !values.empty()) {
            out_.key(key);
            write(values, key);
        }
    }

    void write(int value, std::string_view) { out_.integer(value); }
    void write(bool value, std::string_view) { out_.boolean(value); }
    void write(const Uuid& value, std::string_view) { out_.uuid(value); }
    void write(Preset value, std::string_view) { (void)out_.string(presetText(value)); }
    void write(LoudnessTarget value, std::string_view)
    {
        (void)out_.string(loudnessTargetText(value));
    }

    template <class T>
    requires std::is_floating_point_v<T>
    void write(T value, std::string_view key)
    {
        if (!out_.number(value))
            throw FormatFailure("No se puede guardar un número no finito en \"" + place_.path(key) +
                                "\".");
    }

    void write(const std::string& value, std::string_view key)
    {
        if (!out_.string(value))
            throw FormatFailure("El texto de \"" + place_.path(key) + "\" no es UTF-8 válido.");
    }

    void write(const std::vector<double>& values, std::string_view key)
    {
        out_.beginArray();
        for (double value : values)
            write(value, key);
        out_.endArray();
    }

    template <Described Item> void write(const std::vector<Item>& items, std::string_view key)
    {
        out_.beginArray();
        for (std::size_t i = 0; i < items.size(); ++i)
            nested(place_, {key, i}, [&] { object(items[i]); });
        out_.endArray();
    }

    template <Described Object> void write(const Object& value, std::string_view key)
    {
        nested(place_, {key, std::nullopt}, [&] { object(value); });
    }

    json::Writer out_;
    Place place_;
};

// ---------------------------------------------------------------------------------------------
// Reading

class ProjectDecoder {
public:
    explicit ProjectDecoder(std::string_view bytes) : in_(bytes) {}

    PodcastProject read()
    {
        if (in_.peekKind() != json::ValueKind::object)
            throw FormatFailure("El proyecto no es un objeto JSON.");
        PodcastProject p;
        object(p);
        in_.finish();
        return p;
    }

private:
    // Unknown keys (a newer writer's) are skipped; of a key given twice the last value counts.
    template <class Owner> void object(Owner& owner)
    {
        const std::span<const Key<Owner>> keys = keysOf(owner);
        std::uint64_t seen = 0;
        std::string_view name;
        in_.beginObject();
        while (in_.nextKey(name)) {
            auto key = std::find_if(keys.begin(), keys.end(),
                                    [name](const Key<Owner>& k) { return k.name == name; });
            if (key == keys.end()) {
                in_.skipValue();
                continue;
            }
            seen |= std::uint64_t{1} << (key - keys.begin());
            std::visit([&](auto member) { readKey(owner.*member, key->name, key->need); },
                       key->member);
        }
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (keys[i].need != Need::optional && !(seen & (std::uint64_t{1} << i)))
                throw FormatFailure("Falta la clave obligatoria \"" + place_.path(keys[i].name) +
                                    "\".");
    }

    bool takeNull()
    {
        if (in_.peekKind() != json::ValueKind::null)
            return false;
        in_.readNull();
        return true;
    }

    void expect(json::ValueKind kind, std::string_view key, std::string_view kindName)
    {
        if (in_.peekKind() != kind)
            throw FormatFailure("La clave \"" + place_.path(key) + "\" debe ser " +
                                std::string(kindName) + ".");
    }

    template <class T> void readKey(T& value, std::string_view key, Need) { read(value, key); }
    template <class T> void readKey(std::vector<T>& values, std::string_view key, Need need)
    {
        values.clear(); // of a key given twice the last value counts
        if (need != Need::optional || !takeNull())
            read(values, key);
    }

    template <class T> void read(std::optional<T>& value, std::string_view key)
    {
        if (takeNull()) {
            value.reset();
            return;
        }
        T present{};
        read(present, key);
        value = std::move(present);
    }

    void read(SharedText& value, std::string_view key)
    {
        std::optional<std::string> text;
        read(text, key);
        value = text ? SharedText(std::move(*text)) : SharedText();
    }

    // Any whole number names a version. One too large for this reader is none it can open (0),
    // so that opening refuses it as an unsupported version rather than as a damaged file.
    void read(int& version, std::string_view key)
    {
        expect(json::ValueKind::number, key, "un número entero");
        const std::string_view text = in_.readNumber();
        if (const std::optional<long long> value = json::integerValue(text)) {
            version =
                *value < std::numeric_limits<int>::min() || *value > std::numeric_limits<int>::max()
                    ? 0
                    : static_cast<int>(*value);
            return;
        }
        if (const std::optional<double> value = json::doubleValue(text);
            value && std::isfinite(*value) && *value == std::trunc(*value)) {
            version = 0;
            return;
        }
        throw FormatFailure("La clave \"" + place_.path(key) + "\" debe ser un número entero.");
    }

    template <class T>
    requires std::is_floating_point_v<T>
    void read(T& value, std::string_view key)
    {
        expect(json::ValueKind::number, key, "un número");
        std::string_view text = in_.readNumber();
        std::optional<T> parsed;
        if constexpr (std::is_same_v<T, float>)
            parsed = json::floatValue(text);
        else
            parsed = json::doubleValue(text);
        if (!parsed)
            throw FormatFailure(numberOutOfRange(place_.path(key), text).description);
        value = *parsed;
    }

    void read(bool& value, std::string_view key)
    {
        expect(json::ValueKind::boolean, key, "true o false");
        value = in_.readBoolean();
    }

    void read(std::string& value, std::string_view key)
    {
        expect(json::ValueKind::string, key, "un texto");
        value = in_.readString();
    }

    void read(Uuid& value, std::string_view key)
    {
        expect(json::ValueKind::string, key, "un texto");
        std::optional<Uuid> id = Uuid::parse(in_.readString());
        if (!id)
            throw FormatFailure("La clave \"" + place_.path(key) + "\" no es un UUID válido.");
        value = *id;
    }

    // A choice stored as its text; a text that names none is refused.
    template <class Choice>
    void readChoice(Choice& value, std::string_view key,
                    std::optional<Choice> (*fromText)(std::string_view))
    {
        expect(json::ValueKind::string, key, "un texto");
        std::string_view text = in_.readString();
        std::optional<Choice> choice = fromText(text);
        if (!choice)
            throw FormatFailure("La clave \"" + place_.path(key) +
                                "\" tiene un valor desconocido: \"" +
                                std::string(text.substr(0, 60)) + "\".");
        value = *choice;
    }

    void read(Preset& value, std::string_view key) { readChoice(value, key, presetFromText); }
    void read(LoudnessTarget& value, std::string_view key)
    {
        readChoice(value, key, loudnessTargetFromText);
    }

    void read(std::vector<double>& values, std::string_view key)
    {
        expect(json::ValueKind::array, key, "una lista de números");
        in_.beginArray();
        while (in_.nextElement())
            read(values.emplace_back(), key);
    }

    template <Described Item> void read(std::vector<Item>& items, std::string_view key)
    {
        expect(json::ValueKind::array, key, "una lista");
        // Copying a blank item skips drawing a random identifier that the stored one replaces.
        static const Item blank{};
        in_.beginArray();
        while (in_.nextElement()) {
            const Place place{key, items.size()};
            if (in_.peekKind() != json::ValueKind::object)
                throw FormatFailure("El elemento \"" + std::string(key) + "[" +
                                    std::to_string(*place.index) + "]\" debe ser un objeto.");
            Item& item = items.emplace_back(blank);
            nested(place_, place, [&] { object(item); });
        }
    }

    template <Described Object> void read(Object& value, std::string_view key)
    {
        expect(json::ValueKind::object, key, "un objeto");
        nested(place_, {key, std::nullopt}, [&] { object(value); });
    }

    json::Reader in_;
    Place place_;
};

// ---------------------------------------------------------------------------------------------
// Checking before opening

// Finds the first number of the document outside its key's bound, and the first text that must
// be filled but is empty, as the errors that name them.
class LimitCheck {
public:
    template <class Owner> void object(const Owner& owner)
    {
        for (const Key<Owner>& key : keysOf(owner))
            std::visit(
                [&](auto member) {
                    const auto& value = owner.*member;
                    check(value, key.name, rangeOf(key.bound));
                    if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::string>)
                        if (key.need == Need::filled && value.empty() && !emptyText)
                            emptyText = formatError("La clave \"" + place_.path(key.name) +
                                                    "\" no puede estar vacía.");
                },
                key.member);
    }

    std::optional<Error> found;
    std::optional<Error> emptyText;

private:
    template <class T> void check(const T&, std::string_view, Range) {} // no number inside

    template <class T>
    requires std::is_floating_point_v<T>
    void check(const T& value, std::string_view key, Range range)
    {
        if (found || (range.low <= value && value <= range.high))
            return;
        char text[32];
        const auto written = std::to_chars(text, text + sizeof text, value); // float as float
        found = numberOutOfRange(place_.path(key), std::string_view(text, written.ptr - text));
    }

    template <class T> void check(const std::optional<T>& value, std::string_view key, Range range)
    {
        if (value)
            check(*value, key, range);
    }

    void check(const std::vector<double>& values, std::string_view key, Range range)
    {
        for (double value : values)
            check(value, key, range);
    }

    template <Described Item>
    void check(const std::vector<Item>& items, std::string_view key, Range)
    {
        for (std::size_t i = 0; i < items.size(); ++i)
            nested(place_, {key, i}, [&] { object(items[i]); });
    }

    template <Described Object> void check(const Object& value, std::string_view key, Range)
    {
        nested(place_, {key, std::nullopt}, [&] { object(value); });
    }

    Place place_;
};

} // namespace

Result<std::string> encode(const PodcastProject& project)
{
    std::string text;
    text.reserve(256 + project.segments.size() * 200);
    try {
        ProjectEncoder(text).object(project);
    } catch (const FormatFailure& failure) {
        return formatError(failure.what());
    }
    return text;
}

Result<PodcastProject> decode(std::string_view bytes)
{
    if (bytes.size() > maxDocumentBytes)
        return documentTooLargeError();
    try {
        return ProjectDecoder(bytes).read();
    } catch (const FormatFailure& failure) {
        return formatError(failure.what());
    } catch (const json::SyntaxError& failure) {
        return formatError(failure.what());
    }
}

namespace {

// Paths inside a project are relative and may not climb out of the folder.
bool isInsideProject(std::string_view path)
{
    if (!path.empty() && path.front() == '/')
        return false;
    std::size_t begin = 0;
    while (begin <= path.size()) {
        std::size_t end = path.find('/', begin);
        if (end == std::string_view::npos)
            end = path.size();
        if (path.substr(begin, end - begin) == "..")
            return false;
        begin = end + 1;
    }
    return true;
}

} // namespace

Result<void> validateForOpen(const PodcastProject& project)
{
    if (project.version != 1)
        return Error{ErrorDomain::project, 2, "Versión de proyecto no compatible."};
    const Error invalidPath{ErrorDomain::project, 3, "Ruta de audio inválida."};
    for (const std::string& path : project.voiceSources())
        if (!isInsideProject(path))
            return invalidPath;
    if (project.musicFile && !isInsideProject(*project.musicFile))
        return invalidPath;
    if (const auto& episode = project.episode;
        episode && episode->cover && !isInsideProject(*episode->cover))
        return Error{ErrorDomain::project, 3, "Ruta de imagen inválida."};
    LimitCheck limits;
    limits.object(project);
    if (limits.found)
        return *limits.found;
    if (limits.emptyText)
        return *limits.emptyText;
    return {};
}

Error documentTooLargeError()
{
    return formatError("El proyecto ocupa más de 64 MiB y no se puede leer.");
}

Error projectLocationTakenError()
{
    return Error{ErrorDomain::project, 1,
                 "Elige un nombre nuevo para evitar reemplazar otro proyecto."};
}

} // namespace tw
