// Fixed ids and words of the trees.
#ifndef ZANDREL_KNOWLEDGE_FIXED_NAMES_H_
#define ZANDREL_KNOWLEDGE_FIXED_NAMES_H_

namespace zandrel {

// The id of the root in the logical tree.
inline constexpr unsigned int kRootId = 1;

// The rule that makes a child the default of its rule node. It is not an expression and is never
// parsed.
inline constexpr const char* kDefaultRule = "default";

}  // namespace zandrel

#endif  // ZANDREL_KNOWLEDGE_FIXED_NAMES_H_
