// Bank export and import. Export walks a patch folder in directory order and
// writes one record per folder and patch, then one per library sample that
// the patches use. Import reads the file twice: a scan that checks every
// header and counts what is there, a question to the user, then the records
// again, recreating the tree under the user's patch folder and adding the
// samples to the library.
//
// A bank comes from someone else, so import trusts none of it: every name is
// checked at the scan, files are created relative to folder descriptors that
// were opened without following links, and a sample's data only ever goes to
// "<library>/<id>.dat".
#include "store/bank.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "store/file_io.h"
#include "store/samples.h"

static const char *const EXPORT_OUTPUT_FAILED =
    "The selected output file could not be accessed. The bank was not saved.";
static const char *const EXPORT_NO_PATCHES =
    "No patches were found in the folder. The bank was not saved.";
static const char *const EXPORT_FOLDER_FAILED =
    "The selected patch folder could not be accessed. The bank was not saved.";
static const char *const EXPORT_SAMPLES_MISSING =
    "You are missing samples used by the patches. The bank was not saved.";
static const char *const IMPORT_ACCESS_FAILED =
    "The bank file could not be accessed. The bank was not imported.";
static const char *const IMPORT_INVALID =
    "The selected file does not contain a valid LathemoorFX bank.\r\n"
    "Maybe it was saved by a newer version?";
static const char *const IMPORT_SAVE_FAILED =
    "The files to extract could not be saved. The bank was not imported.";

static const char PATCH_SUFFIX[] = ".synthpatch";

// ---- plain file work ----

static bool Cancelled(const BankJob *job) {
    return job->cancel && __atomic_load_n(job->cancel, __ATOMIC_RELAXED);
}

enum CopyResult { COPY_DONE, COPY_SHORT_READ, COPY_SHORT_WRITE, COPY_CANCELLED };

// Copies `size` bytes through a buffer of BANK_COPY_BUFFER bytes, looking at
// the cancel mark between blocks.
static CopyResult CopyBlocks(const BankJob *job, int in, int out, uint64_t size) {
    char buffer[BANK_COPY_BUFFER];
    while (size) {
        if (Cancelled(job)) return COPY_CANCELLED;
        size_t step = size < sizeof buffer ? (size_t)size : sizeof buffer;
        if (ReadFull(in, buffer, step) != (ssize_t)step) return COPY_SHORT_READ;
        if (!WriteFull(out, buffer, step)) return COPY_SHORT_WRITE;
        size -= step;
    }
    return COPY_DONE;
}

// The plug-in keeps its wait page up for a moment after a success; a
// cancel cuts the wait short, so the instance's end never waits for it.
static void SuccessPause(const BankJob *job) {
    for (uint32_t tenth = 0; tenth < job->successPauseSeconds * 10 && !Cancelled(job); tenth++) {
        timespec step = {0, 100000000};
        nanosleep(&step, nullptr);
    }
}

static bool EndsWith(const char *text, const char *suffix) {
    size_t length = strlen(text), suffixLength = strlen(suffix);
    return length >= suffixLength && !strcmp(text + length - suffixLength, suffix);
}

// ---- export ----

struct ExportWalk {
    BankJob *job;
    int out;
    bool writeFailed, readFailed;
};

static bool WalkStopped(const ExportWalk *walk) {
    return walk->writeFailed || walk->readFailed || Cancelled(walk->job);
}

static void WriteHeader(ExportWalk *walk, uint64_t type, uint64_t size, const char *name,
                        uint64_t sampleId = 0, uint32_t category = 0, uint32_t subcategory = 0) {
    BankRecordHeader header = {};
    header.magic = PATCH_MAGIC;
    header.type = type;
    header.size = size;
    header.sampleId = sampleId;
    header.category = category;
    header.subcategory = subcategory;
    memcpy(header.name, name, strnlen(name, sizeof header.name - 1));
    if (!WriteFull(walk->out, &header, sizeof header)) walk->writeFailed = true;
}

// One record with the whole of an open file as its data.
static void WriteFileRecord(ExportWalk *walk, int in, uint64_t type, const char *name,
                            uint64_t sampleId = 0, uint32_t category = 0,
                            uint32_t subcategory = 0) {
    struct stat facts;
    if (fstat(in, &facts) != 0 || (uint64_t)facts.st_size > BANK_MAX_DATA) {
        walk->readFailed = true;
        return;
    }
    WriteHeader(walk, type, (uint64_t)facts.st_size, name, sampleId, category, subcategory);
    if (walk->writeFailed) return;
    CopyResult copied = CopyBlocks(walk->job, in, walk->out, (uint64_t)facts.st_size);
    if (copied == COPY_SHORT_READ) walk->readFailed = true;
    if (copied == COPY_SHORT_WRITE) walk->writeFailed = true;
}

// `level` is the depth of `path` below the bank's root (0 for the root);
// `prefix` is the record name of the folder, followed by a separator.
static void ExportFolder(ExportWalk *walk, const char *path, const char *prefix, int level) {
    DIR *folder = opendir(path);
    if (!folder) {
        walk->readFailed = true;
        return;
    }
    size_t prefixLength = strlen(prefix);
    while (!WalkStopped(walk)) {
        dirent *entry = readdir(folder);
        if (!entry) break;
        const char *name = entry->d_name;
        if (name[0] == '.') continue;
        char full[PATH_MAX];
        if (snprintf(full, sizeof full, "%s/%s", path, name) >= (int)sizeof full) continue;
        struct stat facts;
        if (stat(full, &facts) != 0) continue;
        bool fits = prefixLength + strlen(name) < BANK_NAME_LIMIT;
        char recordName[PATH_MAX];
        snprintf(recordName, sizeof recordName, "%s%s", prefix, name);

        if (S_ISDIR(facts.st_mode)) {
            if (level + 1 > BANK_MAX_LEVELS) continue;
            WriteHeader(walk, BANK_RECORD_FOLDER, 0, fits ? recordName : "");
            if (walk->writeFailed) break;
            walk->job->folders++;
            char inner[PATH_MAX + 1];
            size_t length = strlen(recordName);
            memcpy(inner, recordName, length);
            inner[length] = BANK_SEPARATOR;
            inner[length + 1] = 0;
            ExportFolder(walk, full, inner, level + 1);
        } else if (S_ISREG(facts.st_mode) && EndsWith(name, PATCH_SUFFIX) && fits) {
            int in = open(full, O_RDONLY | O_CLOEXEC);
            if (in < 0) {
                walk->readFailed = true;
                continue;
            }
            WriteFileRecord(walk, in, BANK_RECORD_PATCH, recordName);
            close(in);
            if (!walk->writeFailed && !walk->readFailed) walk->job->patches++;
        }
    }
    closedir(folder);
}

static SampleRow *SampleSearchLinear(uint64_t id) {
    for (uint64_t i = 0; i < sampleList.count; i++)
        if (sampleList.rows[i].id == id) return &sampleList.rows[i];
    return nullptr;
}

// The samples the patches name, each once. False when one is missing from
// the library.
static bool ExportSamples(ExportWalk *walk) {
    const BankJob *job = walk->job;
    for (uint64_t i = 0; i < job->sampleIdCount && !WalkStopped(walk); i++) {
        uint64_t id = job->sampleIds[i];
        bool seen = false;
        for (uint64_t j = 0; j < i && !seen; j++) seen = job->sampleIds[j] == id;
        if (seen) continue;
        SampleRow *row = SampleSearchLinear(id);
        if (!row || !job->libraryFolder) return false;
        if (row->factory) continue;
        char *path = SamplePath(job->libraryFolder, id, ".dat");
        int in = open(path, O_RDONLY | O_CLOEXEC);
        free(path);
        if (in < 0) {
            walk->readFailed = true;
            break;
        }
        WriteFileRecord(walk, in, BANK_RECORD_SAMPLE, row->name ? row->name : "", id,
                        row->category, (uint32_t)row->subcategory);
        close(in);
        if (!walk->writeFailed && !walk->readFailed) walk->job->samples++;
    }
    return true;
}

void BankExport(BankJob *job) {
    job->error = nullptr;
    job->patches = job->folders = job->samples = 0;
    ExportWalk walk = {job, -1, false, false};
    walk.out = open(job->bankPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (walk.out < 0) {
        job->error = EXPORT_OUTPUT_FAILED;
        return;
    }
    ExportFolder(&walk, job->patchFolder, "", 0);
    bool samplesFound = WalkStopped(&walk) || ExportSamples(&walk);
    if (close(walk.out) != 0) walk.writeFailed = true;

    // A cancelled export leaves no half bank behind that could pass for a
    // whole one, and reports nothing.
    if (Cancelled(job)) {
        unlink(job->bankPath);
        return;
    }
    if (!job->patches) job->error = EXPORT_NO_PATCHES;
    else if (walk.writeFailed) job->error = EXPORT_OUTPUT_FAILED;
    else if (walk.readFailed) job->error = EXPORT_FOLDER_FAILED;
    else if (!samplesFound) job->error = EXPORT_SAMPLES_MISSING;
    if (!job->error) SuccessPause(job);
}

// ---- import ----

// A patch or folder name may only name a place inside the target: each
// component non-empty, neither "." nor "..", no "/" anywhere (so no absolute
// path either), the terminating zero inside the field, and at most
// BANK_MAX_LEVELS separators. An empty folder name is the root itself (an
// export writes an over-long folder name that way) and is kept as a no-op.
static bool NameIsSafe(const BankRecordHeader *header) {
    const char *name = header->name;
    const char *end = (const char *)memchr(name, 0, sizeof header->name);
    if (!end) return false;
    if (name == end) return header->type == BANK_RECORD_FOLDER;
    int separators = 0;
    const char *component = name;
    for (const char *at = name;; at++) {
        if (at == end || *at == BANK_SEPARATOR) {
            size_t length = (size_t)(at - component);
            if (length == 0) return false;
            if (component[0] == '.' && (length == 1 || (length == 2 && component[1] == '.')))
                return false;
            if (at == end) break;
            separators++;
            component = at + 1;
        } else if (*at == '/') {
            return false;
        }
    }
    return separators <= BANK_MAX_LEVELS;
}

char *BankImportTarget(const char *patchFolder, const char *bankPath) {
    if (!patchFolder || !*patchFolder || !bankPath) return nullptr;
    const char *slash = strrchr(bankPath, '/');
    const char *stem = slash ? slash + 1 : bankPath;
    const char *dot = strrchr(stem, '.');
    size_t length = dot ? (size_t)(dot - stem) : strlen(stem);
    if (length == 0 || (stem[0] == '.' && (length == 1 || (length == 2 && stem[1] == '.'))))
        return nullptr;
    size_t size = strlen(patchFolder) + length + 3;
    char *target = (char *)malloc(size);
    snprintf(target, size, "%s/%.*s/", patchFolder, (int)length, stem);
    return target;
}

struct BankContents {
    uint32_t patches, folders, samples;
    uint64_t patchBytes, sampleBytes;
};

// A header the import can act on: the magic, a known type, a size within the
// limit (none for a folder), and a safe name for anything but a sample.
static bool RecordIsValid(const BankRecordHeader *header) {
    if (header->magic != PATCH_MAGIC || header->size > BANK_MAX_DATA) return false;
    if (header->type == BANK_RECORD_SAMPLE) return true;
    if (header->type == BANK_RECORD_FOLDER && header->size != 0) return false;
    if (header->type != BANK_RECORD_FOLDER && header->type != BANK_RECORD_PATCH) return false;
    return NameIsSafe(header);
}

// The scan pass: null when every record is acceptable, else the message. A
// bank with one unacceptable name is refused whole here, before the question
// and before anything is written.
static const char *ScanBank(int in, BankContents *contents) {
    *contents = {};
    for (;;) {
        BankRecordHeader header;
        ssize_t got = ReadFull(in, &header, sizeof header);
        if (got < 0) return IMPORT_ACCESS_FAILED;
        if (got < (ssize_t)sizeof header) return nullptr;
        if (!RecordIsValid(&header)) return IMPORT_INVALID;
        if (header.type == BANK_RECORD_PATCH) {
            contents->patches++;
            contents->patchBytes += header.size;
        } else if (header.type == BANK_RECORD_SAMPLE) {
            contents->samples++;
            contents->sampleBytes += header.size;
        } else {
            contents->folders++;
        }
        if (lseek(in, (off_t)header.size, SEEK_CUR) < 0) return IMPORT_ACCESS_FAILED;
    }
}

static char *ConfirmationText(const BankContents *contents, const char *target) {
    size_t size = 512 + strlen(target);
    char *text = (char *)malloc(size);
    snprintf(text, size,
             "This bank contains %d patch%s (%.2f MB), %d folder%s and %d sample%s (%.2f MB). "
             "The bank will be imported to: %s\r\nContinue?",
             (int)contents->patches, contents->patches == 1 ? "" : "es",
             contents->patchBytes / 1000000.0, (int)contents->folders,
             contents->folders == 1 ? "" : "s", (int)contents->samples,
             contents->samples == 1 ? "" : "s", contents->sampleBytes / 1000000.0, target);
    return text;
}

// Opens the folder that holds the last component of a checked name, walking
// down from the target without following a link; `last` points at that
// component. -1 when a folder on the way is missing or is a link.
static int OpenParent(int target, const char *name, const char **last) {
    int folder = dup(target);
    const char *component = name;
    for (const char *at = name; *at && folder >= 0; at++) {
        if (*at != BANK_SEPARATOR) continue;
        char part[BANK_NAME_SIZE];
        snprintf(part, sizeof part, "%.*s", (int)(at - component), component);
        int inner = openat(folder, part, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        close(folder);
        folder = inner;
        component = at + 1;
    }
    *last = component;
    return folder;
}

static void MakeFolder(int target, const char *name) {
    if (!name[0]) return;
    const char *last;
    int parent = OpenParent(target, name, &last);
    if (parent < 0) return;
    mkdirat(parent, last, 0775);
    close(parent);
}

// Creates or truncates a patch inside the target. Never through a link (the
// open refuses one), never into anything but a plain file with one name, so
// a hard link in the target tree can't carry the data elsewhere either.
static int CreatePatchFile(int parent, const char *last) {
    int fd = openat(parent, last, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd < 0) return -1;
    struct stat facts;
    if (fstat(fd, &facts) != 0 || !S_ISREG(facts.st_mode) || facts.st_nlink != 1 ||
        ftruncate(fd, 0) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

static const char *CopyResultMessage(CopyResult result) {
    if (result == COPY_SHORT_READ) return IMPORT_ACCESS_FAILED;
    if (result == COPY_SHORT_WRITE) return IMPORT_SAVE_FAILED;
    return nullptr;
}

// A sample record's data goes to "<library>/<id>.dat" only, created afresh,
// and its row is appended to the index once the file is whole.
static const char *ImportSample(BankJob *job, int in, const BankRecordHeader *header,
                                bool *stop) {
    if (header->sampleId != 0 && SampleFind(header->sampleId)) {
        if (lseek(in, (off_t)header->size, SEEK_CUR) < 0) return IMPORT_ACCESS_FAILED;
        return nullptr;
    }
    if (!job->libraryFolder) return IMPORT_SAVE_FAILED;
    char *path = SamplePath(job->libraryFolder, header->sampleId, ".dat");
    int out = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (out < 0) {
        free(path);
        return IMPORT_SAVE_FAILED;
    }
    CopyResult copied = CopyBlocks(job, in, out, header->size);
    if (close(out) != 0 && copied == COPY_DONE) copied = COPY_SHORT_WRITE;
    if (copied != COPY_DONE) {
        unlink(path);
        free(path);
        *stop = copied == COPY_CANCELLED;
        return CopyResultMessage(copied);
    }
    free(path);
    // The display name goes into the index as one line: a control byte in
    // it can't start a line of its own.
    char name[BANK_NAME_SIZE];
    memcpy(name, header->name, sizeof name);
    name[sizeof name - 1] = 0;
    for (char *at = name; *at; at++)
        if ((unsigned char)*at < 0x20) *at = ' ';
    uint32_t category = header->category == SAMPLE_CATEGORY_SAMPLE ? SAMPLE_CATEGORY_SAMPLE
                                                                   : SAMPLE_CATEGORY_WAVETABLE;
    if (SampleIndexAppend(job->libraryFolder, header->sampleId, category,
                          (int32_t)header->subcategory, name) != 0)
        return IMPORT_SAVE_FAILED;
    job->samples++;
    return nullptr;
}

static const char *ImportPatch(BankJob *job, int in, int target, const BankRecordHeader *header,
                               bool *stop) {
    const char *last;
    int parent = OpenParent(target, header->name, &last);
    int out = parent >= 0 ? CreatePatchFile(parent, last) : -1;
    if (out < 0) {
        if (parent >= 0) close(parent);
        return IMPORT_SAVE_FAILED;
    }
    CopyResult copied = CopyBlocks(job, in, out, header->size);
    if (close(out) != 0 && copied == COPY_DONE) copied = COPY_SHORT_WRITE;
    // A patch cut short by a cancel or a failure is removed, so no part of
    // one stands in the folder as if it were whole. Patches finished before
    // it stay.
    if (copied != COPY_DONE) unlinkat(parent, last, 0);
    close(parent);
    *stop = copied == COPY_CANCELLED;
    if (copied == COPY_DONE) job->patches++;
    return CopyResultMessage(copied);
}

// The second pass: the records again, written out. Ends at a header that
// can't be read whole, at the first failure, or at a cancel.
static const char *ExtractBank(BankJob *job, int in, int target) {
    if (lseek(in, 0, SEEK_SET) != 0) return IMPORT_ACCESS_FAILED;
    for (;;) {
        if (Cancelled(job)) return nullptr;
        BankRecordHeader header;
        if (ReadFull(in, &header, sizeof header) != (ssize_t)sizeof header) return nullptr;
        // Checked again: the file may have changed since the scan.
        if (!RecordIsValid(&header)) return IMPORT_INVALID;
        const char *error = nullptr;
        bool stop = false;
        if (header.type == BANK_RECORD_FOLDER) {
            MakeFolder(target, header.name);
            job->folders++;
        } else if (header.type == BANK_RECORD_PATCH) {
            error = ImportPatch(job, in, target, &header, &stop);
        } else {
            error = ImportSample(job, in, &header, &stop);
        }
        if (error || stop) return error;
    }
}

void BankImport(BankJob *job) {
    job->error = nullptr;
    job->patches = job->folders = job->samples = 0;
    int in = open(job->bankPath, O_RDONLY | O_CLOEXEC);
    if (in < 0) {
        job->error = IMPORT_ACCESS_FAILED;
        return;
    }
    BankContents contents;
    job->error = ScanBank(in, &contents);
    char *target = job->error ? nullptr : BankImportTarget(job->patchFolder, job->bankPath);
    if (!job->error && !target) job->error = IMPORT_SAVE_FAILED;
    if (job->error) {
        close(in);
        return;
    }

    char *question = ConfirmationText(&contents, target);
    bool agreed = !job->confirm || job->confirm(question);
    free(question);
    if (agreed && !Cancelled(job)) {
        // The user's patch folder is theirs and may be a link; the bank's own
        // folder below it is opened without following one.
        const char *stem = target + strlen(job->patchFolder) + 1;
        char stemName[PATH_MAX];
        snprintf(stemName, sizeof stemName, "%.*s", (int)strlen(stem) - 1, stem);
        int patches = open(job->patchFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (patches >= 0) mkdirat(patches, stemName, 0775);
        int folder = patches >= 0
                         ? openat(patches, stemName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)
                         : -1;
        if (patches >= 0) close(patches);
        if (folder < 0) {
            job->error = IMPORT_SAVE_FAILED;
        } else {
            job->error = ExtractBank(job, in, folder);
            close(folder);
        }
        if (!job->error && !Cancelled(job)) SuccessPause(job);
    }
    free(target);
    close(in);
}
