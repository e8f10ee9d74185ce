#pragma once

// How deep the elements of an XML text nest, as TinyXML (legacy encoding) would
// read them. TinyXML parses, copies and frees a document by recursion, one level
// of stack per level of nesting, so a file nested a hundred thousand deep would
// overflow the stack; the configuration reader asks this scan first.
namespace XmlNesting {

// The deepest element nesting of the NUL-terminated text up to where TinyXML
// would stop reading it (the first error, or text after the root element). The
// scan stops as soon as the nesting passes nStopAbove and then answers
// nStopAbove + 1. Never less than what TinyXML's own parse reaches.
int Deepest(const char* pText, int nStopAbove);

} // namespace XmlNesting
