#!/usr/bin/env python3
"""Doxygen's view of a public header, so that the headers themselves stay free of its commands.

- The banner, the comment before `#pragma once`, becomes the page of the file and, when it begins with "yk::Name:", of
  that class. Text stays text; what is indented is an example, or a drawing that keeps its columns.
- A comment speaks for all declarations up to the next empty line that have none of their own.
- MEANINGS has what every class has.

Line numbers stay those of the header, so that warnings name the right ones.
"""
import re
import sys

MEANINGS = {
    r'~\w+\(\)': None,
    r'^\s*(YK_API_INLINE )?(\w+)\(\2&& |operator=\((\w+)&& ': 'Takes over what the other holds.',
    r'(\w+)& operator=\(\1 const& ': 'Becomes a copy of the other.',
    r'static Guid const& Id\(\)': 'The identifier of this class or interface.',
    r'Guid const\* GetTypeId\(\) noexcept override': 'The identifier of the class.',
    r'friend .*operator==.*= default': 'Whether all fields are equal.',
    r'void\* DeleteThis': 'The slot of a deleting destructor: bit 0 of the flags frees the memory.',
}
TOPICS = r'^(Ownership|Failures?|Threads|Kinds|Re-entrancy): '  # each begins a paragraph
PRIVATE = r'^\s*friend (Destroys|class .*);$'


# ---- banners

def is_code(block):
    return any(re.search(r'[;{}]\s*(//.*)?$', line) for line in block)


def paragraphs(lines):
    """(kind, lines): text, code or a drawing. What is indented and what is not alternate; examples and drawings are
    separated by empty lines, and an example may contain some."""
    out = []
    for line in lines:
        if not line:
            out.append(None)
        elif out and out[-1] and out[-1][-1].startswith('  ') == line.startswith('  '):
            out[-1].append(line)
        else:
            out.append([line])
    runs = []
    for run in filter(None, out):
        kind = 'text' if not run[0].startswith('  ') else 'code{.cpp}' if is_code(run) else 'verbatim'
        if runs and kind == runs[-1][0] == 'code{.cpp}':
            runs[-1][1].extend(['', *run])
        else:
            runs.append((kind, run))
    return runs


def escape(text):
    return re.sub(r'([<>@\\#])', r'\\\1', text)


def body(banner):
    out = []
    for kind, run in paragraphs(banner):
        if kind == 'text':
            out += [re.sub(TOPICS, r'\n<b>\1.</b> ', escape(line)) for line in run] + ['']
            continue
        margin = min(len(line) - len(line.lstrip()) for line in run if line)
        out += ['\\' + kind, *(line[margin:] for line in run), '\\end' + kind.split('{')[0], '']
    return '\n'.join(out)


def pages(banner):
    named = re.match(r'yk::(\w+): ', banner[0])
    if not named:
        return f'/** \\file\n{body(banner)}\n*/\n'
    text = banner.copy()
    text[0] = text[0][named.end():][:1].upper() + text[0][named.end() + 1:]
    return f'/** \\class yk::{named[1]}\n{body(text)}\n*/\n/** \\file\nSee yk::{named[1]}.\n*/\n'


# ---- declarations

OPENS = re.compile(r'^\s*(template <.*> )?(class|struct|union|enum|namespace|extern "C")\b[^;]*\{$')
LABEL = re.compile(r'^\s*(public|protected|private):$')


def meaning(line, otherwise):
    return next((text for pattern, text in MEANINGS.items() if re.search(pattern, line)), otherwise)


def indent(line):
    return len(line) - len(line.lstrip())


class Declarations:
    """Walks the lines below a banner and gives the comment of a declaration to its neighbours."""

    def __init__(self):
        self.forget()
        self.in_macro = False

    def forget(self):
        self.comment, self.shared, self.ends_at, self.in_body = [], None, None, False

    def walk(self, lines):
        return [self.line(line) for line in lines]

    def line(self, line):
        stripped = line.strip()
        in_macro, self.in_macro = self.in_macro, stripped.endswith('\\')
        if in_macro or stripped.startswith('#') or OPENS.match(line) and not self.in_body:
            self.forget()
            return line
        if self.ends_at is not None:
            # the second of two overloads in one macro
            second = self.shared and indent(line) == self.ends_at + len('YK_SLOT_PAIR(') and ' virtual ' in f' {line}'
            self.finish(line)
            return f'/** {self.shared} */ {line.lstrip()}' if second else line
        if re.match(PRIVATE, line):
            return ''
        if stripped.startswith('///'):
            self.comment.append(stripped[3:])
            return line
        if not stripped or stripped.startswith('//') or LABEL.match(line):
            self.forget()
            return line
        return self.declaration(line)

    def declaration(self, line):
        trailing = re.match(r'(\s+)([\w ]+?) (\w+( = \d)?(, \w+( = \d)?)+);\s+///< (.*)', line)
        if trailing:
            return each_field(*trailing.group(1, 2, 3, 7))
        own = self.comment or '///<' in line
        text = None if own else meaning(line, self.shared)
        if self.comment:
            self.shared = first_paragraph(self.comment)
        elif own:
            self.shared = None
        self.comment, self.ends_at = [], indent(line)
        self.finish(line)
        return f'/** {text} */ {line.lstrip()}' if text else line

    def finish(self, line):
        """A declaration ends with a `;` or with its body, at its own indentation; an enumerator with a `,`."""
        code = re.sub(r'\s*//.*$', '', line)
        if code.endswith('{') or self.in_body and not code.startswith(' ' * self.ends_at + '}'):
            self.in_body = True
        elif re.search('[;}]$', code) or code.endswith(',') and code.count('(') == code.count(')'):
            self.ends_at, self.in_body = None, False


def each_field(margin, kind, names, text):
    """`float x, y;  ///< text` documents y alone: a declaration for each."""
    return margin + ' '.join(f'{kind} {name}; /**< {text} */' for name in names.split(', '))


def first_paragraph(comment):
    """Drawings belong to the declaration that has them."""
    text = []
    for line in comment:
        if not line.strip() or line.startswith('  '):
            break
        text.append(line.strip())
    return ' '.join(text)


def main():
    lines = open(sys.argv[1], encoding='utf-8').read().split('\n')
    count = next(i for i, line in enumerate(lines) if not line.startswith('//'))
    banner = [re.sub('^// ?', '', line) for line in lines[:count]]
    sys.stdout.write('\n' * count + '\n'.join(Declarations().walk(lines[count:])) + '\n' + pages(banner))


main()
