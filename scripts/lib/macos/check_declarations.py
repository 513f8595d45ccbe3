#!/usr/bin/env python3
"""Holds the stand-in headers against two independent descriptions of macOS.

usage: check_declarations.py --dts DIR --pascal DIR... --include DIR --stubs DIR -- CLANG ARGS...

--dts     TypeScript declarations generated from a current SDK (npm @nativescript/macos-node-api, types/)
--pascal  Pascal bindings parsed from an older SDK (apt fpc-source-3.2.2, packages/cocoaint/src and univint/src)
--include the stand-in headers; only declarations found there are checked
--stubs   the linker stubs; each framework class and symbol must belong to that framework
CLANG ARGS compile, for the syntax only, a file that includes every stand-in header

A declaration passes when at least one description confirms it and neither contradicts it.
"""
import argparse, collections, json, pathlib, re, subprocess, sys

Method = collections.namedtuple("Method", "static result params")  # types as categories


# ---- the stand-ins, as clang reads them ------------------------------------------------------
def clang_category(text):
    nullable = "_Nullable" in text.rsplit("*", 1)[-1] or "(^ _Nullable)" in text or text == "id _Nullable"
    t = re.sub(r"\b(_Nonnull|_Nullable|_Null_unspecified|__unsafe_unretained|__strong|__kindof)\b", "", text)
    t = re.sub(r"\b(const|OS_OBJECT_RETURNS_RETAINED)\b", "", t)
    t = re.sub(r"\s+", " ", t).strip()
    if "(^" in t or "(*" in t or t == "CFFileDescriptorCallBack":
        return "function", nullable
    if t in ("instancetype",):
        return "self", nullable
    if t in ("id", "ObjectType", "KeyType"):
        return "object", nullable
    if t == "NSFastEnumerationState *":
        return "pointer", nullable
    if m := re.fullmatch(r"(NS\w+)(<.*>)? ?\*", t):
        return ("string" if m[1] == "NSString" else m[1]), nullable
    if re.fullmatch(r"NS(KeyValueChangeKey|NotificationName)", t):
        return "string", nullable
    if t in ("char *", "SEL"):
        return "cstring", nullable
    if t.endswith(("*", "]")) or t == "CFTypeRef":
        return "pointer", nullable
    if t in ("BOOL", "bool"):
        return "boolean", nullable
    if t == "void":
        return "void", nullable
    if t.startswith("CF") and (t.endswith("Ref") or t == "CFRunLoopMode"):
        return "object", nullable
    if t == "os_log_t":
        return "NSObject", nullable
    return "number:" + t, nullable


def read_standins(include, command):
    ast = json.loads(subprocess.run(command + ["-fsyntax-only", "-Xclang", "-ast-dump=json"],
                                    check=True, capture_output=True, text=True).stdout)
    here = {"file": None}
    found, structs = [], []

    def see(part):  # clang prints a file name only where it changes
        for key, value in part.items():
            if key == "file":
                here["file"] = value
            elif isinstance(value, dict) and key != "includedFrom":
                see(value)

    def locate(node):
        see(node.get("loc", {}))
        own = here["file"] if node.get("loc") else None
        see(node.get("range", {}))
        return own

    def walk(node, owner):
        own = locate(node)
        kind, name = node.get("kind"), node.get("name")
        mine = own is not None and pathlib.Path(own).resolve().is_relative_to(include)
        if kind == "ObjCInterfaceDecl":
            owner = name
        elif kind == "ObjCCategoryDecl":
            owner = node["interface"]["name"]
        elif mine and kind == "ObjCMethodDecl" and not node.get("isImplicit"):
            params = [clang_category(p["type"]["qualType"]) for p in node.get("inner", []) if p["kind"] == "ParmVarDecl"]
            found.append(("method", owner, name, Method(not node["instance"],
                          clang_category(node["returnType"]["qualType"])[0], params)))
        elif mine and kind == "ObjCPropertyDecl":
            found.append(("property", owner, name, (bool(node.get("class")), bool(node.get("readonly")),
                          clang_category(node["type"]["qualType"])[0], node.get("getter", {}).get("name", name))))
        elif mine and kind == "FunctionDecl":
            params = [clang_category(p["type"]["qualType"]) for p in node.get("inner", []) if p["kind"] == "ParmVarDecl"]
            result = node["type"]["qualType"].split("(")[0].strip()
            found.append(("function", None, name, Method(True, clang_category(result)[0], params)))
        elif mine and kind == "VarDecl" and name != "__dso_handle":  # that one the linker makes
            found.append(("variable", None, name, None))
        elif mine and kind in ("RecordDecl", "CXXRecordDecl") and node.get("completeDefinition"):
            fields = [(c["name"], c["type"]["qualType"]) for c in node["inner"] if c["kind"] == "FieldDecl"]
            structs.append((node["id"], fields))
        elif mine and kind == "TypedefDecl":
            for child in iter_nodes(node):
                for record, fields in structs:
                    if child.get("decl", {}).get("id") == record:
                        found.append(("structure", None, name, fields))
        elif mine and kind == "EnumConstantDecl":
            value = next((c["value"] for c in iter_nodes(node) if c.get("kind") == "ConstantExpr"), None)
            found.append(("constant", None, name, int(value)))
        for child in node.get("inner", []):
            walk(child, owner)

    walk(ast, None)
    return found


def iter_nodes(node):
    yield node
    for child in node.get("inner", []):
        yield from iter_nodes(child)


# ---- the TypeScript description --------------------------------------------------------------
def dts_category(text):
    t = text.strip()
    nullable = t.endswith("| null")
    t = re.sub(r"\s*\|\s*null$", "", t)
    if "=>" in t:
        return "function", nullable
    if t in ("this", "InstanceType<This>"):
        return "self", nullable
    if m := re.fullmatch(r"interop\.Enum<typeof (\w+)>", t):
        return "number:" + m[1], nullable
    if t == "interop.PointerConvertible":
        return "pointer", nullable
    if t in ("interop.Object", "ObjectType", "KeyType"):
        return "object", nullable
    return re.sub(r"[<|].*$", "", t).strip(), nullable


def split_params(text):
    parts, depth, start = [], 0, 0
    for i, c in enumerate(text):
        depth += c in "(<[{"
        depth -= c in ")]}" or (c == ">" and text[i - 1] != "=")
        if c == "," and depth == 0:
            parts.append(text[start:i])
            start = i + 1
    parts.append(text[start:])
    return [p.split(":", 1)[1] for p in parts if ":" in p]


class TypeScript:
    label = "TypeScript"

    def __init__(self, folder):
        self.members, self.functions, self.enums = collections.defaultdict(list), {}, {}
        self.names = collections.defaultdict(set)  # by framework
        self.fields = collections.defaultdict(list)  # names, in their order, by structure
        for path in sorted(folder.glob("*.d.ts")):
            owner = enum = None
            for line in path.read_text().splitlines():
                if m := re.match(r"declare \w+ (\w+)", line):
                    self.names[path.name.split(".")[0]].add(m[1])
                if m := re.match(r"declare (?:class|interface) (\w+)", line):
                    owner = m[1]
                    continue
                if m := re.match(r"declare const (\w+): \{", line):
                    enum = self.enums.setdefault(m[1], {})
                elif line in ("}", "};"):
                    owner = enum = None
                if owner and (m := re.match(r"  (\w+): ", line)):
                    self.fields[owner].append(m[1])
                if enum is not None and (m := re.match(r"  (\w+): (-?\d+),", line)):
                    enum[m[1]] = int(m[2])
                elif m := re.match(r"declare function (\w+)\((.*)\): ([^()]+);", line):
                    self.functions[m[1]] = Method(True, dts_category(m[3])[0], [dts_category(p) for p in split_params(m[2])])
                elif owner and (m := re.match(r"  (static )?(\w+)(?:<This extends .*? => any>)?\((.*)\): ([^()]+);", line)):
                    params = re.sub(r"^this: This(, )?", "", m[3])
                    self.members[owner, m[2]].append(Method(bool(m[1]), dts_category(m[4])[0], [dts_category(p) for p in split_params(params)]))
                elif owner and (m := re.match(r"  (static )?(readonly )?(\w+): ([^()]+);", line)):
                    self.members[owner, m[3]].append(("property", bool(m[1]), bool(m[2]), dts_category(m[4])[0]))

    def method(self, owner, selector):
        head, *rest = selector.rstrip(":").split(":")
        name = head + "".join(p[:1].upper() + p[1:] for p in rest)
        return [m for m in self.members.get((owner, name), []) if isinstance(m, Method)]

    def property(self, owner, name):
        return [m for m in self.members.get((owner, name), []) if m[0] == "property"]


# ---- the Pascal description ------------------------------------------------------------------
class Pascal:
    label = "Pascal"

    def __init__(self, folders):
        self.methods, self.constants = collections.defaultdict(list), {}
        for path in sorted(path for folder in folders for kind in ("*.inc", "*.pas") for path in folder.rglob(kind)):
            owner = None
            for line in path.read_text(errors="replace").splitlines():
                if m := re.match(r"\s*(\w+) = objcclass external", line):
                    owner = m[1]
                elif m := re.match(r"\s*\w+ = objccategory external \((\w+)\)", line):
                    owner = m[1]
                elif re.match(r"\s*\w+ = objcprotocol", line):
                    owner = "protocol"
                elif owner and (m := re.match(r"\s*(class )?(?:function|procedure) \w+(?: \((.*?)\))?(?:: (\w+))?; message '([^']+)'", line)):
                    self.methods[owner, m[4]].append((bool(m[1]), m[4].count(":")))
                elif m := re.match(r"\s*(\w+) = (\$[0-9A-Fa-f]+|\d+);", line):
                    self.constants[m[1]] = int(m[2][1:], 16) if m[2][0] == "$" else int(m[2])
                elif m := re.match(r"\s*(\w+) = UInt32\((\d+) shl (\d+)\);", line):
                    self.constants[m[1]] = int(m[2]) << int(m[3])


# ---- judging ---------------------------------------------------------------------------------
def fits(mine, theirs):
    if mine == theirs:
        return True
    if mine.startswith("number:"):
        return theirs == "number"
    return {"cstring": theirs in ("string", "pointer"), "self": theirs not in ("void", "number", "boolean"),
            "pointer": theirs == "object", "object": theirs in ("pointer", "NSObject")}.get(mine, False)


def compare(mine, theirs):
    if isinstance(mine, Method):
        if mine.static != theirs.static or len(mine.params) != len(theirs.params):
            return "class/instance or number of parameters differs"
        if not fits(mine.result, theirs.result):
            return f"result {mine.result} against {theirs.result}"
        for i, ((a, a_null), (b, b_null)) in enumerate(zip(mine.params, theirs.params)):
            if not fits(a, b):
                return f"parameter {i + 1}: {a} against {b}"
            if a_null and not b_null and b not in ("pointer",):
                return f"parameter {i + 1} may not be nil"
        return None
    static, readonly, category, _ = mine
    if (static, readonly) != theirs[1:3]:
        return "class or readonly differs"
    return None if fits(category, theirs[3]) else f"type {category} against {theirs[3]}"


def judge(kind, owner, name, mine, ts, pascal):
    """Returns (the descriptions that confirm it, the complaints)."""
    yes, no = [], []
    if kind == "constant":
        hits = [e for e in ts.enums.values() for k, v in e.items() if name.endswith(k) and v == mine and len(k) > 2]
        misses = name in pascal.constants and pascal.constants[name] != mine
        if hits:
            yes.append(ts.label)
        if name in pascal.constants and not misses:
            yes.append(pascal.label)
        if misses:
            no.append(f"Pascal has {pascal.constants[name]}, not {mine}")
        return yes, no
    if kind == "variable":
        return [ts.label] * any(name in names for names in ts.names.values()), no
    if kind == "structure":
        theirs = ts.fields.get(name, [])
        if [field for field, _ in mine] == theirs:
            yes.append(ts.label)
        elif theirs:
            no.append(f"TypeScript has {theirs}")
        return yes, no
    if kind == "function":
        theirs = [ts.functions[name]] if name in ts.functions else []
    elif kind == "method":
        theirs = ts.method(owner, name)
        # Apple rewrote argument-less accessors as properties; either form is the same selector.
        if not theirs and ":" not in name:
            theirs = [Method(p[1], p[3], []) for p in ts.property(owner, name)]
        selectors = pascal.methods.get((owner, name), []) + pascal.methods.get(("protocol", name), [])
        if selectors:
            (yes.append(pascal.label) if any(s[0] == mine.static for s in selectors)
             else no.append("Pascal: class/instance differs"))
    else:
        theirs = ts.property(owner, name)
        for selector in {mine[3], name}:
            if any(s[0] == mine[0] for s in pascal.methods.get((owner, selector), [])):
                yes.append(pascal.label)
                break
    problems = [compare(mine, t) for t in theirs]
    if any(p is None for p in problems):
        yes.append(ts.label)
    elif problems:
        no.append(f"TypeScript: {problems[0]}")
    return yes, no


def check_stubs(folder, ts):
    bad = 0
    for path in sorted(folder.rglob("*.tbd")):
        framework = path.stem
        if framework == "libobjc":  # runtime entry points, called by the compiler itself
            continue
        text = path.read_text()
        listed = re.findall(r"(?:symbols|objc-classes): *\[(.*?)\]", text, re.S)
        for name in (n.strip() for part in listed for n in part.split(",")):
            if name.removeprefix("_") not in ts.names[framework] and name != "___CFConstantStringClassReference":
                print(f"{path.name}: {name} is not in {framework}")
                bad += 1
    return bad


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--dts", type=pathlib.Path, required=True)
    parser.add_argument("--pascal", type=pathlib.Path, nargs="+", required=True)
    parser.add_argument("--include", type=pathlib.Path, required=True)
    parser.add_argument("--stubs", type=pathlib.Path, required=True)
    parser.add_argument("command", nargs="+")
    args = parser.parse_args()
    ts, pascal = TypeScript(args.dts), Pascal(args.pascal)
    found = read_standins(args.include.resolve(), args.command)
    bad, by = 0, collections.Counter()
    for kind, owner, name, mine in found:
        yes, no = judge(kind, owner, name, mine, ts, pascal)
        by["+".join(sorted(yes)) or "nobody"] += 1
        if no or not yes:
            bad += 1
            print(f"{kind} {owner + ' ' if owner else ''}{name}: {'; '.join(no) or 'neither description knows it'}")
    print(f"{len(found)} declarations, {bad} not confirmed; confirmed by " + ", ".join(f"{k}: {v}" for k, v in sorted(by.items())))
    bad += check_stubs(args.stubs, ts)
    return 1 if bad or not found else 0


if __name__ == "__main__":
    sys.exit(main())
