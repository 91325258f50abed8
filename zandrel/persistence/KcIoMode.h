// KcIoMode: how a knowledge container is read or written. KcConverter: to which charset.
#ifndef ZANDREL_PERSISTENCE_KCIOMODE_H_
#define ZANDREL_PERSISTENCE_KCIOMODE_H_

struct zeLogicalNode;

// A plain parameter block, which the caller passes in and partly gets back.
struct KcIoMode {
    enum Form : unsigned int {
        AUTO_IO = 0,    // the form that the file has, or that the container is in
        DIRECT_IO = 1,  // plain: read whole and written whole
        CACHED_IO = 2,  // stays open while it is in use; not available in this version
    };

    bool create = true;    // writing: begin a new file
    bool compact = false;  // writing: leave out what only training needs
    // Writing: the subtree to write, of a node with a classifier; null: all.  BORROWS
    const zeLogicalNode* root = nullptr;
    unsigned int cache_size = 20;  // most statistical classifiers that a cached container holds
    bool read_only = true;         // reading: the cached file is not changed
    Form io_mode = AUTO_IO;        // in and out: the form used
    bool compact_read = false;     // out, as the next two: what the file says
    bool unicode = false;
    unsigned short version = 0;
    // Reading: verify the seal, and leave what only training needs as bytes until something needs
    // it (zeStat_storage::complete). A program that only classifies then needs a third of the
    // memory and a fraction of the time.
    bool for_classifying = false;
};

// What zeIO::CopyKC converts every text with.
struct KcConverter {
    const char* from = nullptr;  // charset of the texts in memory
    const char* to = nullptr;    // charset that they get in the file
    unsigned int count = 0;      // how many were converted, empty ones included
};

#endif  // ZANDREL_PERSISTENCE_KCIOMODE_H_
