#pragma once

// The tokens of the text formats, and the keywords among them.

#include <array>
#include <cstdint>
#include <string_view>

namespace kestrel {

// Codes below 256 are the characters themselves; keywords follow from `keyword` on in the order of the list.
enum class token_kind_t : uint16_t {
    end_of_input = 0,
    left_parenthesis = '(',
    right_parenthesis = ')',
    colon = ':',
    left_brace = '{',
    right_brace = '}',
    string = 258,
    long_string = 259,
    integer = 260,
    real = 261,
    model_start = 262,
    skeleton_start = 263,
    keyword = 268,
    none = 0xFFFF, // no token
};

// All keywords of the six intermediate formats; matched without regard to letter case. Their order numbers
// the tokens.
// clang-format off
inline constexpr std::array<std::string_view, 132> keywords = {
    "FLOAT", "FLOAT2", "FLOAT3", "FLOAT4", "FLOAT5", "FLOAT6", "INT", "INT2", "FLOAT4X4", "QUATERNION",
    "STRING", "VERTEXCOUNT", "TRIANGLECOUNT", "MATERIALCOUNT", "PIECECOUNT", "PARTCOUNT", "LOCATORCOUNT",
    "PIECESKINCOUNT", "BONECOUNT", "STREAMCOUNT", "ITEMCOUNT", "ATTRIBUTECOUNT", "TOTALWEIGHTCOUNT",
    "TOTALCLONECOUNT", "BONECHANNELCOUNT", "CUSTOMCHANNELCOUNT", "KEYFRAMECOUNT", "LOOKCOUNT",
    "VARIANTCOUNT", "TEXTURECOUNT", "NODECOUNT", "TERRAINPOINTCOUNT", "TERRAINPOINTVARIANTCOUNT",
    "NAVCURVECOUNT", "SIGNCOUNT", "SPAWNPOINTCOUNT", "SEMAPHORECOUNT", "MAPPOINTCOUNT", "TRIGGERPOINTCOUNT",
    "NEXTCURVECOUNT", "PREVCURVECOUNT", "ALIASCOUNT", "INTERSECTIONCOUNT", "TOTALTIME", "HEADER",
    "FORMATVERSION", "SOURCE", "TYPE", "GLOBAL", "MATERIAL", "AUTOMAT", "BONES", "NAME", "HOOKUP",
    "SKELETON", "PARENT", "MATRIX", "PIECE", "INDEX", "STREAM", "FORMAT", "TAG", "TRIANGLES", "PART",
    "LOCATOR", "PIECES", "LOCATORS", "ATTRIBUTE", "VALUE", "SKIN", "SKINSTREAM", "WEIGHTS", "CLONES",
    "BONECHANNEL", "CUSTOMCHANNEL", "LOOK", "VARIANT", "EFFECT", "ALIAS", "CONTENT", "TEXTURE", "POSITION",
    "DIRECTION", "ROTATION", "SCALE", "ROLL", "PARAMETERS", "WEIGHT", "INPUTLANES", "OUTPUTLANES", "CURVE",
    "LEADSTONODES", "NEXTCURVES", "PREVCURVES", "LENGTH", "BEZIER", "MODEL", "SIGN", "SPAWNPOINT",
    "SEMAPHORE", "MAPPOINT", "MAPVISUALFLAGS", "MAPNAVFLAGS", "NEIGHBOURS", "NODE", "START", "END", "FLAGS",
    "ALIASES", "SEMAPHOREID", "INTERVALS", "CYCLE", "PROFILE", "MODELOVERRIDE", "SEMAPHOREVARIANT",
    "TRAFFICRULE", "TRIGGERPOINT", "TRIGGERID", "TRIGGERACTION", "TRIGGERRANGE", "TRIGGERRESETDELAY",
    "TRIGGERRESETDIST", "CONVEXPIECE", "INTERSECTION", "INTERCURVEID", "INTERPOSITION", "INTERRADIUS",
    "PIECESKIN", "PIECESKINSTREAM", "TOTALVERTEXINDEXCOUNT", "VERTEXINDICES", "DEPENDENCY"
};
// clang-format on

namespace keyword_lookup {
// Not constexpr on purpose: naming a keyword that is not in the list stops the compilation.
inline void no_such_keyword() {}
} // namespace keyword_lookup

// The token of a keyword, worked out when the program is compiled.
consteval token_kind_t operator""_kw(const char *text, size_t length) {
    for (size_t i = 0; i < keywords.size(); ++i)
        if (keywords[i] == std::string_view(text, length))
            return static_cast<token_kind_t>(static_cast<size_t>(token_kind_t::keyword) + i);
    keyword_lookup::no_such_keyword();
    return token_kind_t::end_of_input;
}

// The longest keyword that `text` begins with, whatever follows it; its length is 0 when there is none.
struct keyword_match_t {
    token_kind_t kind = token_kind_t::none;
    size_t length = 0;
};
keyword_match_t match_keyword(const char *text);

} // namespace kestrel
