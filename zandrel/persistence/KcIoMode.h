// KcIoMode: how a knowledge container is read or written. KcConverter: the charsets of a copy.
#ifndef ZANDREL_PERSISTENCE_KCIOMODE_H_
#define ZANDREL_PERSISTENCE_KCIOMODE_H_

struct zeLogicalNode;

// The parameters of a read or write, some of which return a result.
struct KcIoMode {
    enum Form : unsigned int {
        AUTO_IO = 0,    // the form of the file, or of the container
        DIRECT_IO = 1,  // plain: the file is read and written as a whole
        CACHED_IO = 2,  // the file is open while it is in use, and models are read when needed
    };

    // Writing the cached form with zeIO::DumpKC: begin a new file, in place of an existing one. If
    // false, the items are added to an existing container, and replace those of the same objects.
    bool create = true;
    bool compact = false;  // writing: without the statistics that only training needs
    // Writing: the top of the subtree to write, which has a classifier; null: everything. BORROWS
    const zeLogicalNode* root = nullptr;
    unsigned int cache_size = 20;  // limit of statistical classifiers in memory, cached form only
    // Reading the cached form: the file is not changed. Changes remain in memory, and a classifier
    // that is released loses them. A file of version 1 is upgraded all the same, and this becomes
    // false.
    bool read_only = true;
    Form io_mode = AUTO_IO;      // in: the wanted form; out: the form that was used
    bool compact_read = false;   // out: the compact flag of the file
    bool unicode = false;        // out: the Unicode flag of the file
    unsigned short version = 0;  // out: the version that was found, also before an upgrade
    // Reading: verify the seal of a plain file, and keep the statistics that only training needs as
    // bytes until something needs them (zeStat_storage::complete). A program that only classifies
    // then needs a third of the memory and a fraction of the time. In cached form this applies to
    // each classifier that is read later, and the seal is not verified, since that would read the
    // whole file.
    bool for_classifying = false;
};

// The charsets between which zeIO::CopyKC converts each text.
struct KcConverter {
    const char* from = nullptr;  // charset of the texts in memory
    const char* to = nullptr;    // charset of the texts in the file
    unsigned int count = 0;      // out: number of converted texts, also empty ones
};

#endif  // ZANDREL_PERSISTENCE_KCIOMODE_H_
