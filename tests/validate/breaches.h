/**
 * The ways in which a broken module breaks its contract. Each is a module of its own: the sound code, linked with
 * `broken_module.cpp` and with the one-line source that chooses the breach.
 */
#pragma once

namespace broken_module {

enum class Breach {
    // of the file and the plain entry points
    AbortsWhileLoading,
    ExportsOneMore,    ///< by its own list of exports; the code is sound
    ExportsOneLess,    ///< likewise
    IsUnprotected,     ///< by its own options for the linker
    IsLinkedElsewhere, ///< with another platform library; the code is sound
    EnablesDelta,
    EndsVastrelLinesWithANewline,
    DescribesByThread,

    // of the factory, the table and the object
    MakesNothing,
    AcceptsANeighbouringType,
    GivesBackAStranger,
    WritesWithoutMemory,
    StaysAnInstance,
    ProvidesSlot9,
    LacksSlot8,
    DoesNotCountAQuery,
    LeavesTheResultOfARefusedQuery,
    CountsARefusedQuery,
    AnswersTheCountBefore,
    HangsInAddRef,
    EndsTheProcessInAddRef,
    PrintsInAddRef,
    RefusesOptions,
    LogsInClose,
    StaysClosed,
    HandsOutOneObject,

    // of services
    IgnoresPressure,
    KeepsATransport,
    RegistersReportsAgain,
    InstallsNoCallback,
    LosesAnAddition,
    ListensToAnotherName,
    LeavesAThread,

    // of captures
    AnswersErrors,
    MixesUpTitles,
    HandsOutARecordTwice,
    ReadsWhatTheDriverClaims,

    // of memory
    LosesAQuerysMemory,
    LosesASchedulesMemory,
    LosesAKeyString,
};

/** This module's. */
extern const Breach kBreach;

} // namespace broken_module
