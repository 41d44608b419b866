#include "model/ProjectJson.hpp"

#include "model/JsonNumbers.hpp"
#include "model/JsonReader.hpp"
#include "model/JsonWriter.hpp"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <type_traits>

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
// Writing

class ProjectEncoder {
public:
    explicit ProjectEncoder(std::string& out) : out_(out) {}

    void write(const PodcastProject& p)
    {
        out_.beginObject();
        out_.key("version");
        out_.integer(p.version);
        optionalText("voiceFile", p.voiceFile);
        optionalText("musicFile", p.musicFile);
        out_.key("segments");
        out_.beginArray();
        for (std::size_t i = 0; i < p.segments.size(); ++i) {
            segmentIndex_ = i;
            write(p.segments[i]);
        }
        segmentIndex_.reset();
        out_.endArray();
        out_.key("recordingPending");
        out_.boolean(p.recordingPending);
        number("voiceVolume", p.voiceVolume);
        number("musicVolume", p.musicVolume);
        number("fadeIn", p.fadeIn);
        number("fadeOut", p.fadeOut);
        if (p.treatment) {
            inTreatment_ = true;
            out_.key("treatment");
            write(*p.treatment);
            inTreatment_ = false;
        }
        optionalNumber("playhead", p.playhead);
        optionalNumber("timelineZoom", p.timelineZoom);
        optionalText("pendingVoiceFile", p.pendingVoiceFile);
        optionalNumber("pendingStart", p.pendingStart);
        optionalNumber("musicSourceStart", p.musicSourceStart);
        optionalNumber("musicLength", p.musicLength);
        optionalNumber("musicOffset", p.musicOffset);
        optionalNumber("fadeInStart", p.fadeInStart);
        optionalNumber("fadeInEnd", p.fadeInEnd);
        optionalNumber("fadeOutStart", p.fadeOutStart);
        optionalNumber("fadeOutEnd", p.fadeOutEnd);
        if (p.loudnessTarget) {
            out_.key("loudnessTarget");
            (void)out_.string(loudnessTargetText(*p.loudnessTarget));
        }
        out_.endObject();
    }

private:
    void write(const Segment& s)
    {
        out_.beginObject();
        out_.key("id");
        out_.uuid(s.id);
        number("start", s.start);
        number("duration", s.duration);
        optionalText("file", s.file);
        optionalNumber("timelineStart", s.timelineStart);
        optionalNumber("gain", s.gain);
        out_.endObject();
    }

    void write(const VoiceTreatment& t)
    {
        out_.beginObject();
        out_.key("enhance");
        out_.boolean(t.enhance);
        out_.key("reduceNoise");
        out_.boolean(t.reduceNoise);
        if (t.level) {
            out_.key("level");
            out_.boolean(*t.level);
        }
        optionalNumber("bass", t.bass);
        optionalNumber("mid", t.mid);
        optionalNumber("treble", t.treble);
        if (t.eqBands) {
            out_.key("eqBands");
            out_.beginArray();
            for (double gain : *t.eqBands)
                if (!out_.number(gain))
                    throw FormatFailure("No se puede guardar un número no finito en \"" +
                                        path("eqBands") + "\".");
            out_.endArray();
        }
        out_.key("preset");
        (void)out_.string(presetText(t.preset));
        out_.endObject();
    }

    template <class T> void number(std::string_view key, T value)
    {
        out_.key(key);
        if (!out_.number(value))
            throw FormatFailure("No se puede guardar un número no finito en \"" + path(key) +
                                "\".");
    }

    template <class T> void optionalNumber(std::string_view key, const std::optional<T>& value)
    {
        if (value)
            number(key, *value);
    }

    void optionalText(std::string_view key, const std::optional<std::string>& value)
    {
        if (!value)
            return;
        out_.key(key);
        if (!out_.string(*value))
            throw FormatFailure("El texto de \"" + path(key) + "\" no es UTF-8 válido.");
    }

    std::string path(std::string_view key) const
    {
        if (segmentIndex_)
            return "segments[" + std::to_string(*segmentIndex_) + "]." + std::string(key);
        if (inTreatment_)
            return "treatment." + std::string(key);
        return std::string(key);
    }

    json::Writer out_;
    std::optional<std::size_t> segmentIndex_;
    bool inTreatment_ = false;
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
        Required required;
        std::string_view key;
        in_.beginObject();
        while (in_.nextKey(key)) {
            if (key == "version") {
                p.version = version(required.see(0, "version"));
            } else if (key == "voiceFile") {
                p.voiceFile = optionalText("voiceFile");
            } else if (key == "musicFile") {
                p.musicFile = optionalText("musicFile");
            } else if (key == "segments") {
                p.segments = segments(required.see(1, "segments"));
            } else if (key == "recordingPending") {
                p.recordingPending = boolean(required.see(2, "recordingPending"));
            } else if (key == "voiceVolume") {
                p.voiceVolume = number<float>(required.see(3, "voiceVolume"));
            } else if (key == "musicVolume") {
                p.musicVolume = number<float>(required.see(4, "musicVolume"));
            } else if (key == "fadeIn") {
                p.fadeIn = number<double>(required.see(5, "fadeIn"));
            } else if (key == "fadeOut") {
                p.fadeOut = number<double>(required.see(6, "fadeOut"));
            } else if (key == "treatment") {
                p.treatment = optionalTreatment();
            } else if (key == "playhead") {
                p.playhead = optionalNumber<double>("playhead");
            } else if (key == "timelineZoom") {
                p.timelineZoom = optionalNumber<double>("timelineZoom");
            } else if (key == "pendingVoiceFile") {
                p.pendingVoiceFile = optionalText("pendingVoiceFile");
            } else if (key == "pendingStart") {
                p.pendingStart = optionalNumber<double>("pendingStart");
            } else if (key == "musicSourceStart") {
                p.musicSourceStart = optionalNumber<double>("musicSourceStart");
            } else if (key == "musicLength") {
                p.musicLength = optionalNumber<double>("musicLength");
            } else if (key == "musicOffset") {
                p.musicOffset = optionalNumber<double>("musicOffset");
            } else if (key == "fadeInStart") {
                p.fadeInStart = optionalNumber<double>("fadeInStart");
            } else if (key == "fadeInEnd") {
                p.fadeInEnd = optionalNumber<double>("fadeInEnd");
            } else if (key == "fadeOutStart") {
                p.fadeOutStart = optionalNumber<double>("fadeOutStart");
            } else if (key == "fadeOutEnd") {
                p.fadeOutEnd = optionalNumber<double>("fadeOutEnd");
            } else if (key == "loudnessTarget") {
                p.loudnessTarget = optionalLoudnessTarget("loudnessTarget");
            } else {
                in_.skipValue(); // a newer writer's key
            }
        }
        in_.finish();
        required.check({"version", "segments", "recordingPending", "voiceVolume", "musicVolume",
                        "fadeIn", "fadeOut"},
                       *this);
        return p;
    }

private:
    // Which required keys of the current object were seen.
    struct Required {
        std::uint32_t seen = 0;
        std::string_view see(int bit, std::string_view key)
        {
            seen |= 1u << bit;
            return key;
        }
        void check(std::initializer_list<std::string_view> keys, const ProjectDecoder& decoder)
        {
            int bit = 0;
            for (std::string_view key : keys) {
                if (!(seen & (1u << bit)))
                    throw FormatFailure("Falta la clave obligatoria \"" + decoder.path(key) +
                                        "\".");
                ++bit;
            }
        }
    };

    std::vector<Segment> segments(std::string_view key)
    {
        expect(json::ValueKind::array, key, "una lista");
        std::vector<Segment> list;
        in_.beginArray();
        while (in_.nextElement()) {
            segmentIndex_ = list.size();
            list.push_back(segment());
        }
        segmentIndex_.reset();
        return list;
    }

    Segment segment()
    {
        if (in_.peekKind() != json::ValueKind::object)
            throw FormatFailure("El elemento \"segments[" + std::to_string(*segmentIndex_) +
                                "]\" debe ser un objeto.");
        // Copying a blank clip skips drawing a random identifier that the stored one replaces.
        static const Segment blank;
        Segment s = blank;
        Required required;
        std::string_view key;
        in_.beginObject();
        while (in_.nextKey(key)) {
            if (key == "id") {
                s.id = uuid(required.see(0, "id"));
            } else if (key == "start") {
                s.start = number<double>(required.see(1, "start"));
            } else if (key == "duration") {
                s.duration = number<double>(required.see(2, "duration"));
            } else if (key == "file") {
                s.file = optionalText("file");
            } else if (key == "timelineStart") {
                s.timelineStart = optionalNumber<double>("timelineStart");
            } else if (key == "gain") {
                s.gain = optionalNumber<float>("gain");
            } else {
                in_.skipValue();
            }
        }
        required.check({"id", "start", "duration"}, *this);
        return s;
    }

    std::optional<VoiceTreatment> optionalTreatment()
    {
        if (takeNull())
            return std::nullopt;
        expect(json::ValueKind::object, "treatment", "un objeto");
        inTreatment_ = true;
        VoiceTreatment t;
        Required required;
        std::string_view key;
        in_.beginObject();
        while (in_.nextKey(key)) {
            if (key == "enhance") {
                t.enhance = boolean(required.see(0, "enhance"));
            } else if (key == "reduceNoise") {
                t.reduceNoise = boolean(required.see(1, "reduceNoise"));
            } else if (key == "level") {
                t.level = takeNull() ? std::nullopt : std::optional<bool>(boolean("level"));
            } else if (key == "bass") {
                t.bass = optionalNumber<double>("bass");
            } else if (key == "mid") {
                t.mid = optionalNumber<double>("mid");
            } else if (key == "treble") {
                t.treble = optionalNumber<double>("treble");
            } else if (key == "eqBands") {
                t.eqBands = optionalNumberList("eqBands");
            } else if (key == "preset") {
                t.preset = preset(required.see(2, "preset"));
            } else {
                in_.skipValue();
            }
        }
        required.check({"enhance", "reduceNoise", "preset"}, *this);
        inTreatment_ = false;
        return t;
    }

    // Values --------------------------------------------------------------------------------

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
            throw FormatFailure("La clave \"" + path(key) + "\" debe ser " + std::string(kindName) +
                                ".");
    }

    // Any whole number names a version. One too large for this reader is none it can open (0),
    // so that opening refuses it as an unsupported version rather than as a damaged file.
    int version(std::string_view key)
    {
        expect(json::ValueKind::number, key, "un número entero");
        const std::string_view text = in_.readNumber();
        if (const std::optional<long long> value = json::integerValue(text))
            return *value < std::numeric_limits<int>::min() ||
                           *value > std::numeric_limits<int>::max()
                       ? 0
                       : static_cast<int>(*value);
        if (const std::optional<double> value = json::doubleValue(text);
            value && std::isfinite(*value) && *value == std::trunc(*value))
            return 0;
        throw FormatFailure("La clave \"" + path(key) + "\" debe ser un número entero.");
    }

    template <class T> T number(std::string_view key)
    {
        expect(json::ValueKind::number, key, "un número");
        std::string_view text = in_.readNumber();
        std::optional<T> value;
        if constexpr (std::is_same_v<T, float>)
            value = json::floatValue(text);
        else
            value = json::doubleValue(text);
        if (!value)
            throw FormatFailure(numberOutOfRange(path(key), text).description);
        return *value;
    }

    template <class T> std::optional<T> optionalNumber(std::string_view key)
    {
        if (takeNull())
            return std::nullopt;
        return number<T>(key);
    }

    std::optional<std::vector<double>> optionalNumberList(std::string_view key)
    {
        if (takeNull())
            return std::nullopt;
        expect(json::ValueKind::array, key, "una lista de números");
        std::vector<double> list;
        in_.beginArray();
        while (in_.nextElement())
            list.push_back(number<double>(key));
        return list;
    }

    bool boolean(std::string_view key)
    {
        expect(json::ValueKind::boolean, key, "true o false");
        return in_.readBoolean();
    }

    std::string text(std::string_view key)
    {
        expect(json::ValueKind::string, key, "un texto");
        return std::string(in_.readString());
    }

    std::optional<std::string> optionalText(std::string_view key)
    {
        if (takeNull())
            return std::nullopt;
        return text(key);
    }

    Uuid uuid(std::string_view key)
    {
        expect(json::ValueKind::string, key, "un texto");
        std::string_view value = in_.readString();
        std::optional<Uuid> id = Uuid::parse(value);
        if (!id)
            throw FormatFailure("La clave \"" + path(key) + "\" no es un UUID válido.");
        return *id;
    }

    std::optional<LoudnessTarget> optionalLoudnessTarget(std::string_view key)
    {
        if (takeNull())
            return std::nullopt;
        expect(json::ValueKind::string, key, "un texto");
        std::string_view value = in_.readString();
        std::optional<LoudnessTarget> target = loudnessTargetFromText(value);
        if (!target)
            throw FormatFailure("La clave \"" + path(key) + "\" tiene un valor desconocido: \"" +
                                std::string(value.substr(0, 60)) + "\".");
        return target;
    }

    Preset preset(std::string_view key)
    {
        expect(json::ValueKind::string, key, "un texto");
        std::string_view value = in_.readString();
        std::optional<Preset> preset = presetFromText(value);
        if (!preset)
            throw FormatFailure("La clave \"" + path(key) + "\" tiene un valor desconocido: \"" +
                                std::string(value.substr(0, 60)) + "\".");
        return *preset;
    }

    std::string path(std::string_view key) const
    {
        if (segmentIndex_)
            return "segments[" + std::to_string(*segmentIndex_) + "]." + std::string(key);
        if (inTreatment_)
            return "treatment." + std::string(key);
        return std::string(key);
    }

    json::Reader in_;
    std::optional<std::size_t> segmentIndex_;
    bool inTreatment_ = false;
};

} // namespace

Result<std::string> encode(const PodcastProject& project)
{
    std::string text;
    text.reserve(256 + project.segments.size() * 200);
    try {
        ProjectEncoder(text).write(project);
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

// A programme is never a day long: a time beyond that is damage, and the arithmetic done with
// it later (1e308 plus anything) stops being finite.
constexpr double maximumTime = 24 * 60 * 60;
// A volume or clip gain of 16 is already +24 dB; equaliser gains in dB are held to the same.
constexpr double maximumVolume = 16;
const double maximumDecibels = 20 * std::log10(maximumVolume);

// Finds the first number of the document outside its limits, as the error that names it.
class LimitCheck {
public:
    template <class T>
    void operator()(const std::string& path, const std::optional<T>& value, double limit)
    {
        if (found || !value || std::abs(*value) <= limit)
            return;
        char text[32];
        const auto written = std::to_chars(text, text + sizeof text, *value); // float as float
        found = numberOutOfRange(path, std::string_view(text, written.ptr - text));
    }
    template <class T> void operator()(const std::string& path, T value, double limit)
    {
        (*this)(path, std::optional<T>(value), limit);
    }

    std::optional<Error> found;
};

std::optional<Error> numberOutOfLimits(const PodcastProject& p)
{
    LimitCheck check;
    check("voiceVolume", p.voiceVolume, maximumVolume);
    check("musicVolume", p.musicVolume, maximumVolume);
    for (const auto& [key, time] : {std::pair{"fadeIn", std::optional(p.fadeIn)},
                                    {"fadeOut", p.fadeOut},
                                    {"playhead", p.playhead},
                                    {"pendingStart", p.pendingStart},
                                    {"musicSourceStart", p.musicSourceStart},
                                    {"musicLength", p.musicLength},
                                    {"musicOffset", p.musicOffset},
                                    {"fadeInStart", p.fadeInStart},
                                    {"fadeInEnd", p.fadeInEnd},
                                    {"fadeOutStart", p.fadeOutStart},
                                    {"fadeOutEnd", p.fadeOutEnd}})
        check(key, time, maximumTime);
    for (std::size_t i = 0; i < p.segments.size(); ++i) {
        const Segment& s = p.segments[i];
        const std::string at = "segments[" + std::to_string(i) + "].";
        check(at + "start", s.start, maximumTime);
        check(at + "duration", s.duration, maximumTime);
        check(at + "timelineStart", s.timelineStart, maximumTime);
        check(at + "gain", s.gain, maximumVolume);
    }
    if (const auto& t = p.treatment) {
        check("treatment.bass", t->bass, maximumDecibels);
        check("treatment.mid", t->mid, maximumDecibels);
        check("treatment.treble", t->treble, maximumDecibels);
        for (double gain : t->eqBands.value_or(std::vector<double>{}))
            check("treatment.eqBands", gain, maximumDecibels);
    }
    return check.found;
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
    if (std::optional<Error> outOfLimits = numberOutOfLimits(project))
        return *outOfLimits;
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
