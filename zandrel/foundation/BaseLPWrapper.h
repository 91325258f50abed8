// BaseLPWrapper: the caller's argument of zeLogicalTree::ProcessConceptRules.
#ifndef ZANDREL_FOUNDATION_BASELPWRAPPER_H_
#define ZANDREL_FOUNDATION_BASELPWRAPPER_H_

// A program derives a class from it, for example one that has a stemmer, and passes an object of
// that class. The library only passes the pointer on to the program's function, which casts it back
// to its own class.
class BaseLPWrapper {
protected:
    BaseLPWrapper() = default;
    ~BaseLPWrapper() = default;
    BaseLPWrapper(const BaseLPWrapper&) = default;
    BaseLPWrapper& operator=(const BaseLPWrapper&) = default;
};

#endif  // ZANDREL_FOUNDATION_BASELPWRAPPER_H_
