// An example main application for Linux, written with the standard library of Go.
//
// It follows docs/linux-contract.md: the quoted words in the comments are its headings. What a real
// product would do (filter, show windows, keep rules) is replaced by a few variables in `product`.
//
// Start it, wait for the line "ready", and run `corvane-nmctl check-main-app --changes`. SIGTERM,
// SIGINT (Ctrl-C) and SIGHUP end it. One goroutine empties the socket; the main one does the rest.
//
// Known limit: an unpaired surrogate in a text becomes U+FFFD.
package main

import (
	"crypto/rand"
	"encoding/binary"
	"errors"
	"fmt"
	"io"
	"math"
	"net/url"
	"os"
	"os/signal"
	"os/user"
	"path/filepath"
	"reflect"
	"regexp"
	"strconv"
	"strings"
	"sync"
	"syscall"
	"time"
	"unicode/utf16"
)

const (
	group          = "CVN4TEAM01.com.corvane.app"
	app            = "com.corvane.application"
	prefix         = app + ".DARWIN_NOTIFICATION."
	largestFile    = 10240000 // a longer one is full
	largestArchive = 1024000
	deepest        = 64 // objects inside one another
	mostValues     = 250000
)

var (
	started = time.Now()
	ownName = makeName() // of the socket and of the registration
)

func makeName() string {
	random := make([]byte, 8)
	if _, err := rand.Read(random); err != nil {
		panic(err)
	}
	return fmt.Sprintf("%d.%x", os.Getpid(), random)
}

// "The archive". First the binary property list: bool, int64, uint64, float64, string, uid, []any
// and dict stand for its objects. What is malformed ends in a panic, which `unarchive` recovers.

type uid uint64
type dict map[string]any

type listReader struct {
	data, table         []byte
	offsetSize, refSize int
	objects             []any // those that have been read: shared ones are read once
}

func readList(data []byte) any {
	if string(data[:8]) != "bplist00" {
		panic("not a binary property list")
	}
	trailer := data[len(data)-32:]
	number := func(at int) uint64 { return binary.BigEndian.Uint64(trailer[at:]) }
	count, top, table := number(8), number(16), number(24)
	if count > uint64(len(data)) {
		panic("too many objects")
	}
	r := &listReader{data[:table], data[table : len(data)-32], int(trailer[6]), int(trailer[7]),
		make([]any, count)}
	return r.object(top, 0)
}

func bigEndian(bytes []byte) (n uint64) {
	for _, b := range bytes {
		n = n<<8 | uint64(b)
	}
	return n
}

func (r *listReader) object(index uint64, depth int) any {
	if depth > 8 { // an archive needs no more; also what contains itself
		panic("too deep")
	}
	if r.objects[index] == nil {
		at := int(index) * r.offsetSize
		r.objects[index] = r.read(r.data[bigEndian(r.table[at:at+r.offsetSize]):], depth)
	}
	return r.objects[index]
}

func (r *listReader) read(data []byte, depth int) any {
	kind, low := data[0]>>4, int(data[0]&15)
	data = data[1:]
	switch kind {
	case 0x0:
		if low == 8 || low == 9 {
			return low == 9
		}
	case 0x1:
		data = data[:1<<low]
		if low < 4 { // 8 bytes are signed, fewer are not
			return int64(bigEndian(data))
		}
		return bigEndian(data[len(data)-8:])
	case 0x2:
		if low == 2 {
			return float64(math.Float32frombits(binary.BigEndian.Uint32(data)))
		}
		return math.Float64frombits(binary.BigEndian.Uint64(data))
	case 0x8:
		return uid(bigEndian(data[:low+1]))
	}
	if low == 15 { // the count follows as an integer
		size := 1 << (data[0] & 15)
		low = int(bigEndian(data[1 : 1+size]))
		data = data[1+size:]
	}
	if low < 0 || low > len(data) {
		panic("too long")
	}
	switch kind {
	case 0x5:
		return string(data[:low])
	case 0x6:
		units := make([]uint16, low)
		for i := range units {
			units[i] = binary.BigEndian.Uint16(data[2*i:])
		}
		return string(utf16.Decode(units))
	case 0xA:
		return r.objectsAt(data, low, depth)
	case 0xD:
		values := r.objectsAt(data[low*r.refSize:], low, depth)
		result := dict{}
		for i, key := range r.objectsAt(data, low, depth) {
			result[key.(string)] = values[i]
		}
		return result
	}
	panic("an object of another kind")
}

func (r *listReader) objectsAt(data []byte, count, depth int) []any {
	result := make([]any, count)
	for i := range result {
		result[i] = r.object(bigEndian(data[i*r.refSize:(i+1)*r.refSize]), depth+1)
	}
	return result
}

type listWriter struct {
	data    []byte
	offsets []uint32
}

func writeList(top any) []byte {
	w := listWriter{data: []byte("bplist00")}
	root, table := w.add(top), len(w.data)
	for _, offset := range w.offsets {
		w.data = binary.BigEndian.AppendUint32(w.data, offset)
	}
	w.data = append(w.data, 0, 0, 0, 0, 0, 0, 4, 4) // offsets and references have 4 bytes
	for _, number := range []int{len(w.offsets), int(root), table} {
		w.data = binary.BigEndian.AppendUint64(w.data, uint64(number))
	}
	return w.data
}

// add writes the object with those in it and returns its number.
func (w *listWriter) add(value any) uint32 {
	var bytes []byte
	switch v := value.(type) {
	case bool:
		bytes = []byte{8}
		if v {
			bytes[0] = 9
		}
	case int64:
		bytes = binary.BigEndian.AppendUint64([]byte{0x13}, uint64(v))
	case float64:
		bytes = binary.BigEndian.AppendUint64([]byte{0x23}, math.Float64bits(v))
	case uid:
		bytes = binary.BigEndian.AppendUint32([]byte{0x83}, uint32(v))
	case string:
		bytes = text(v)
	case []any:
		bytes = marker(0xA0, len(v))
		for _, one := range v {
			bytes = binary.BigEndian.AppendUint32(bytes, w.add(one))
		}
	case dict:
		var values []byte
		bytes = marker(0xD0, len(v))
		for key, one := range v {
			bytes = binary.BigEndian.AppendUint32(bytes, w.add(key))
			values = binary.BigEndian.AppendUint32(values, w.add(one))
		}
		bytes = append(bytes, values...)
	}
	w.offsets = append(w.offsets, uint32(len(w.data)))
	w.data = append(w.data, bytes...)
	return uint32(len(w.offsets) - 1)
}

func marker(kind byte, count int) []byte {
	if count < 15 {
		return []byte{kind | byte(count)}
	}
	return binary.BigEndian.AppendUint32([]byte{kind | 15, 0x12}, uint32(count))
}

func text(s string) []byte {
	units := utf16.Encode([]rune(s))
	if len(units) == len(s) { // ASCII
		return append(marker(0x50, len(s)), s...)
	}
	bytes := marker(0x60, len(units))
	for _, unit := range units {
		bytes = binary.BigEndian.AppendUint16(bytes, unit)
	}
	return bytes
}

// object is an error object or a state record.
type object struct {
	class  string
	fields dict
}

type archiver struct{ objects []any }

func archive(root any) []byte {
	a := archiver{[]any{"$null"}}
	top := a.encode(root)
	return writeList(dict{"$version": int64(100000), "$archiver": "NSKeyedArchiver",
		"$top": dict{"root": top}, "$objects": a.objects})
}

func (a *archiver) add(entry any) uid {
	a.objects = append(a.objects, entry)
	return uid(len(a.objects) - 1)
}

func (a *archiver) instance(class string, fields dict) uid {
	fields["$class"] = a.add(dict{"$classname": class, "$classes": []any{class, "NSObject"}})
	return a.add(fields)
}

func (a *archiver) encode(value any) uid {
	switch v := value.(type) {
	case nil:
		return a.instance("NSNull", dict{})
	case string:
		if v == "$null" { // in place it would stand for nothing
			return a.instance("NSString", dict{"NS.string": v})
		}
	case dict:
		keys, values := []any{}, []any{}
		for key, one := range v {
			keys, values = append(keys, a.encode(key)), append(values, a.encode(one))
		}
		return a.instance("NSDictionary", dict{"NS.keys": keys, "NS.objects": values})
	case object: // numbers and booleans stand in place, texts do not
		fields := dict{}
		for key, one := range v.fields {
			switch one.(type) {
			case bool, int64:
				fields[key] = one
			default:
				fields[key] = a.encode(one)
			}
		}
		return a.instance(v.class, fields)
	}
	return a.add(value)
}

type unarchiver struct {
	objects []any
	count   int
}

// unarchive fails when `data` is no archive, or holds what requests may not.
func unarchive(data []byte) (value any, err error) {
	defer func() {
		if why := recover(); why != nil {
			err = fmt.Errorf("malformed: %v", why)
		}
	}()
	top := readList(data).(dict)
	if top["$version"] != int64(100000) || top["$archiver"] != "NSKeyedArchiver" {
		panic("not a keyed archive")
	}
	u := unarchiver{objects: top["$objects"].([]any)}
	return u.decode(top["$top"].(dict)["root"], 1), nil
}

func (u *unarchiver) decode(reference any, depth int) any {
	if u.count++; u.count > mostValues {
		panic("too many values")
	}
	value := u.objects[reference.(uid)]
	switch value.(type) {
	case string, bool, int64, uint64, float64:
		if value != "$null" { // which stands for nothing
			return value
		}
	}
	entry := value.(dict)
	class := u.objects[entry["$class"].(uid)].(dict)["$classname"].(string)
	switch class {
	case "NSNull":
		return nil
	case "NSString", "NSMutableString":
		return entry["NS.string"].(string)
	case "NSDictionary", "NSMutableDictionary":
		if depth <= deepest {
			return u.dictionary(entry["NS.keys"].([]any), entry["NS.objects"].([]any), depth)
		}
	}
	panic("refused: " + class) // also what contains itself
}

func (u *unarchiver) dictionary(keys, values []any, depth int) dict {
	if len(keys) != len(values) {
		panic("other keys than values")
	}
	result := dict{}
	for i, key := range keys {
		result[u.decode(key, depth+1).(string)] = u.decode(values[i], depth+1)
	}
	return result
}

// "Notifications"

type notifications struct {
	folder string
	socket int
	heard  map[string]chan struct{} // by observed name; a second one while one is pending adds nothing
}

func observe(container string, names ...string) (*notifications, error) {
	n := &notifications{folder: container + "/Notifications", heard: map[string]chan struct{}{}}
	if err := makeFolder(n.folder); err != nil {
		return nil, err
	}
	var err error
	n.socket, err = syscall.Socket(syscall.AF_UNIX, syscall.SOCK_DGRAM|syscall.SOCK_CLOEXEC, 0)
	if err != nil {
		return nil, err
	}
	err = inFolder(n.folder, func(address string) error {
		return syscall.Bind(n.socket, &syscall.SockaddrUnix{Name: address + "/." + ownName})
	})
	if err != nil {
		return nil, err
	}
	n.removeLeftovers()
	for _, name := range names {
		n.heard[name] = make(chan struct{}, 1)
	}
	go n.receive()
	for _, name := range names {
		if err := n.link(name); err != nil {
			return nil, err
		}
	}
	return n, nil
}

func (n *notifications) link(name string) error {
	for {
		if err := makeFolder(n.folder + "/" + name); err != nil {
			return err
		}
		err := os.Link(n.folder+"/."+ownName, n.folder+"/"+name+"/"+ownName)
		if !errors.Is(err, os.ErrNotExist) { // otherwise the empty folder was removed: once more
			return err
		}
	}
}

// receive never waits for anything but the socket.
func (n *notifications) receive() {
	buffer := make([]byte, 201)
	for {
		count, _, err := syscall.Recvfrom(n.socket, buffer, 0)
		if err != nil && err != syscall.EINTR {
			return
		}
		if err == nil && n.heard[string(buffer[:count])] != nil {
			select {
			case n.heard[string(buffer[:count])] <- struct{}{}:
			default:
			}
		}
	}
}

// post returns when all observers have the notification, after 100 ms at the most.
func (n *notifications) post(name string) {
	var all sync.WaitGroup
	for _, observer := range n.observers(name) {
		all.Add(1)
		go func(observer int) {
			defer all.Done()
			send(observer, name)
			syscall.Close(observer)
		}(observer)
	}
	all.Wait()
}

func send(observer int, name string) {
	limit := syscall.Timeval{Usec: 100000}
	syscall.SetsockoptTimeval(observer, syscall.SOL_SOCKET, syscall.SO_SNDTIMEO, &limit)
	for end := time.Now().Add(100 * time.Millisecond); time.Now().Before(end); {
		if _, err := syscall.Write(observer, []byte(name)); err != syscall.EINTR {
			return
		}
	}
}

// observers gives a connected socket for each observer, and removes what dead ones left.
func (n *notifications) observers(name string) (connected []int) {
	inFolder(n.folder+"/"+name, func(address string) error {
		entries, _ := os.ReadDir(address)
		for _, entry := range entries {
			if observer := connect(address + "/" + entry.Name()); observer >= 0 {
				connected = append(connected, observer)
			}
		}
		if len(entries) > 0 && len(connected) == 0 {
			os.Remove(n.folder + "/" + name) // fails unless it is empty now
		}
		return nil
	})
	return connected
}

// connect returns -1 if `path` is no socket, or that of a dead process, which is removed.
func connect(path string) int {
	status, err := os.Lstat(path) // never follows a symbolic link
	if err != nil || status.Mode().Type() != os.ModeSocket {
		return -1
	}
	socket, err := syscall.Socket(syscall.AF_UNIX, syscall.SOCK_DGRAM|syscall.SOCK_CLOEXEC, 0)
	if err != nil {
		return -1
	}
	if err = syscall.Connect(socket, &syscall.SockaddrUnix{Name: path}); err == nil {
		return socket
	}
	if err == syscall.ECONNREFUSED {
		os.Remove(path)
	}
	syscall.Close(socket)
	return -1
}

func (n *notifications) removeLeftovers() {
	entries, _ := os.ReadDir(n.folder)
	for _, entry := range entries {
		name := entry.Name()
		age := ageOf(n.folder + "/" + name)
		if !strings.HasPrefix(name, ".") {
			for _, observer := range n.observers(name) {
				syscall.Close(observer)
			}
			if age > time.Hour {
				os.Remove(n.folder + "/" + name) // fails unless it is empty
			}
		} else if age > 10*time.Second && isGone(processOf(name[1:])) { // not one that binds just now
			inFolder(n.folder, func(address string) error {
				syscall.Close(connect(address + "/" + name))
				return nil
			})
		}
	}
}

func (n *notifications) close() {
	for name := range n.heard {
		os.Remove(n.folder + "/" + name + "/" + ownName)
	}
	os.Remove(n.folder + "/." + ownName)
}

// inFolder calls `use` with a short path of `folder`: a socket's address has room for 107 bytes.
func inFolder(folder string, use func(address string) error) error {
	const openPath = 0x200000 // O_PATH
	flags := openPath | syscall.O_DIRECTORY | syscall.O_NOFOLLOW | syscall.O_CLOEXEC
	descriptor, err := syscall.Open(folder, flags, 0)
	if err != nil {
		return err
	}
	defer syscall.Close(descriptor)
	return use(fmt.Sprintf("/proc/self/fd/%d", descriptor))
}

func makeFolder(path string) error {
	if err := os.Mkdir(path, 0700); !errors.Is(err, os.ErrExist) {
		return err
	}
	return nil
}

func ageOf(path string) time.Duration {
	var status syscall.Stat_t
	if syscall.Lstat(path, &status) != nil {
		return 0
	}
	return time.Since(time.Unix(status.Ctim.Unix()))
}

// "Exchange files"

type request struct {
	id, name string
	body     dict
}

type exchange struct {
	folder, requests string
	notifications    *notifications
}

// withLocked calls `use` with the file `path`, which is made if it is missing, under its lock.
func withLocked(path string, use func(file *os.File, size int64) error) error {
	for {
		file, err := os.OpenFile(path, os.O_RDWR|os.O_CREATE|syscall.O_NOFOLLOW, 0600)
		if err != nil {
			return err
		}
		isLinked, err := lockAndUse(file, use)
		file.Close() // gives the lock back
		if err != nil || isLinked {
			return err
		}
	}
}

// lockAndUse returns false if the file was removed before the lock was had.
func lockAndUse(file *os.File, use func(file *os.File, size int64) error) (bool, error) {
	if err := flock(file, syscall.LOCK_EX); err != nil {
		return false, err
	}
	var status syscall.Stat_t
	if err := syscall.Fstat(int(file.Fd()), &status); err != nil || status.Nlink == 0 {
		return false, err
	}
	return true, use(file, status.Size)
}

func flock(file *os.File, how int) error {
	for {
		if err := syscall.Flock(int(file.Fd()), how); err != syscall.EINTR {
			return err
		}
	}
}

func (e *exchange) prepare() error {
	empty := func(file *os.File, _ int64) error { return file.Truncate(0) }
	paths, _ := filepath.Glob(e.folder + "/ExchangeResponseContainer.*.data")
	for _, path := range paths {
		removeIfOld(path)
	}
	return withLocked(e.requests, empty)
}

func removeIfOld(path string) {
	file, err := os.OpenFile(path, os.O_RDWR|syscall.O_NOFOLLOW, 0)
	if err != nil {
		return
	}
	defer file.Close()
	if flock(file, syscall.LOCK_EX|syscall.LOCK_NB) != nil {
		return // somebody uses it
	}
	if status, err := file.Stat(); err == nil && time.Since(status.ModTime()) > 24*time.Hour {
		os.Remove(path)
	}
}

func (e *exchange) takeRequests() []request {
	var data []byte
	err := withLocked(e.requests, func(file *os.File, size int64) error {
		if size == 0 {
			return nil
		}
		if size <= largestFile+largestArchive+4 {
			data, _ = io.ReadAll(file)
		}
		return file.Truncate(0)
	})
	if err != nil {
		warn("the request file", err)
	}
	return split(data)
}

// split gives the requests in `data`, oldest first. Below damage nothing is certain.
func split(data []byte) (requests []request) {
	for len(data) > 4 {
		end := len(data) - 4
		start := end - int(binary.LittleEndian.Uint32(data[end:]))
		if start < 0 {
			warn("a request", errors.New("the length is too great"))
			break
		}
		value, err := unarchive(data[start:end])
		record, _ := value.(dict)
		id, hasID := record["id"].(string)
		name, hasName := record["name"].(string)
		if err == nil && !(hasID && hasName) {
			err = errors.New("it has no id or no name")
		}
		if err != nil {
			warn("a request", err)
			break
		}
		body, _ := record["body"].(dict)
		requests = append([]request{{id, name, body}}, requests...)
		data = data[:start]
	}
	return requests
}

func (e *exchange) reply(asked request, body dict) error {
	record := archive(dict{"id": asked.id, "name": asked.name, "body": body})
	if len(record) > largestArchive {
		return errors.New("the reply is too long")
	}
	record = binary.LittleEndian.AppendUint32(record, uint32(len(record)))
	path := e.folder + "/ExchangeResponseContainer." + asked.id + ".data"
	err := withLocked(path, func(file *os.File, size int64) error {
		if size > largestFile {
			return errors.New("the file is full")
		}
		// One call for archive and length, so that no death comes between the two.
		if count, _ := syscall.Pwrite(int(file.Fd()), record, size); count != len(record) {
			file.Truncate(size)
			return errors.New("the disk is full")
		}
		return nil
	})
	if err == nil {
		e.notifications.post(prefix + "exchange." + asked.id)
	}
	return err
}

func isUsable(id string) bool {
	return id != "" && len(id) <= 100 && !strings.ContainsAny(id, "/\x00")
}

func warn(what string, err error) { fmt.Fprintf(os.Stderr, "%s: %v\n", what, err) }

// "Running applications"

const (
	getLock = 36 // F_OFD_GETLK
	setLock = 37 // F_OFD_SETLK
)

var nameOfProcess = regexp.MustCompile(`^([1-9][0-9]*)\.[0-9a-fA-F]{16}$`)

// processOf gives the process that a name such as 4711.0123456789abcdef begins with, or 0.
func processOf(name string) int {
	match := nameOfProcess.FindStringSubmatch(name)
	if match == nil {
		return 0
	}
	process, _ := strconv.Atoi(match[1])
	return process
}

func isGone(process int) bool { return process > 0 && syscall.Kill(process, 0) == syscall.ESRCH }

func registryFolder(container string) string { return container + "/Applications/" + app }

// isLocked is also true when that can't be known.
func isLocked(path string) bool {
	flags := os.O_RDONLY | syscall.O_NOFOLLOW | syscall.O_NONBLOCK
	file, err := os.OpenFile(path, flags, 0)
	if err != nil {
		return true
	}
	defer file.Close()
	lock := syscall.Flock_t{Type: syscall.F_RDLCK} // the whole file; Pid must be 0
	err = syscall.FcntlFlock(file.Fd(), getLock, &lock)
	return err != nil || lock.Type == syscall.F_WRLCK
}

func somebodyIsRegistered(container string) bool {
	entries, _ := os.ReadDir(registryFolder(container))
	for _, entry := range entries {
		if processOf(entry.Name()) > 0 && isLocked(registryFolder(container)+"/"+entry.Name()) {
			return true
		}
	}
	return false
}

// register returns the locked file, which must stay open.
func register(container string) (*os.File, error) {
	folder := registryFolder(container)
	if err := os.MkdirAll(folder, 0700); err != nil {
		return nil, err
	}
	entries, _ := os.ReadDir(folder)
	for _, entry := range entries {
		process := processOf(strings.TrimPrefix(entry.Name(), "."))
		isHidden := strings.HasPrefix(entry.Name(), ".") // it may be about to be locked
		path := folder + "/" + entry.Name()
		if process > 0 && (!isHidden || isGone(process)) && !isLocked(path) {
			os.Remove(path)
		}
	}
	hidden := folder + "/." + ownName
	file, err := os.OpenFile(hidden, os.O_RDWR|os.O_CREATE|os.O_EXCL, 0600)
	if err != nil {
		return nil, err
	}
	lock := syscall.Flock_t{Type: syscall.F_WRLCK}
	if err := syscall.FcntlFlock(file.Fd(), setLock, &lock); err != nil {
		return nil, err
	}
	return file, os.Rename(hidden, folder+"/"+ownName)
}

// "Commands"

type product struct {
	isProtected     bool
	rules           []string
	notFiltered     map[string]bool // "http" or "https", a blank, and the host
	hasCertificates map[string]bool // hosts
}

type command struct {
	parameters dict // each with some value of the kind that it must have
	isChange   bool
	do         func(p *product, body dict) any // nil: done, nothing to say
}

var commands = map[string]command{
	"appState": {nil, false, func(p *product, _ dict) any {
		return object{"EBAAppStateResponse",
			dict{"isProtectionEnabled": p.isProtected, "locale": "en"}}
	}},
	"getCurrentFilteringState": {dict{"url": "", "port": int64(0), "app": ""}, false, (*product).page},
	"setProtectionStatus": {dict{"enabled": true}, true, func(p *product, body dict) any {
		p.isProtected = body["enabled"].(bool)
		return nil
	}},
	"setHttpFilteringStatus": {dict{"url": "", "enabled": true}, true,
		func(p *product, body dict) any {
			p.notFiltered["http "+hostOf(body["url"])] = !body["enabled"].(bool)
			return nil
		}},
	"setHttpsFilteringStatus": {dict{"url": "", "enabled": true}, true,
		func(p *product, body dict) any {
			p.notFiltered["https "+hostOf(body["url"])] = !body["enabled"].(bool)
			return true
		}},
	"addRule": {dict{"ruleText": ""}, true, func(p *product, body dict) any {
		p.removeRules(func(rule string) bool { return rule == body["ruleText"] })
		p.rules = append(p.rules, body["ruleText"].(string))
		return nil
	}},
	"removeRule": {dict{"ruleText": ""}, true, func(p *product, body dict) any {
		if !p.removeRules(func(rule string) bool { return rule == body["ruleText"] }) {
			return refusal(3, "The rule does not exist.")
		}
		return nil
	}},
	"removeCustomRules": {dict{"url": ""}, true, func(p *product, body dict) any {
		p.removeRules(func(rule string) bool { return concerns(rule, hostOf(body["url"])) })
		return nil
	}},
	"openOriginalCert": {dict{"domain": "", "port": int64(0), "app": ""}, false,
		func(p *product, body dict) any {
			if !p.hasCertificates[body["domain"].(string)] {
				return refusal(4, "The certificate is not known.")
			}
			return nil
		}},
	"reportSite": {dict{"url": "", "referrer": "", "userAgent": ""}, false,
		func(p *product, body dict) any {
			return "https://reports.example.org/?host=" + hostOf(body["url"])
		}},
	"openFilteringLog": {nil, false, func(*product, dict) any { return nil }},
	"openSettings":     {nil, false, func(*product, dict) any { return nil }},
	"updateApp":        {nil, false, func(*product, dict) any { return nil }},
}

func (p *product) page(body dict) any {
	host, isHTTPS := hostOf(body["url"]), strings.HasPrefix(body["url"].(string), "https:")
	issuer, status := "", "notfound"
	if isHTTPS {
		issuer, status = "Example Authority", "valid"
		p.hasCertificates[host] = true
	}
	hasRule := false
	for _, rule := range p.rules {
		hasRule = hasRule || concerns(rule, host)
	}
	return object{"EBACurrentFilteringStateResponse", dict{
		"isFilteringEnabled":         p.isProtected && !p.notFiltered["http "+host],
		"isHttpsFilteringEnabled":    p.isProtected && !p.notFiltered["https "+host],
		"isPageFilteredByUserFilter": hasRule,
		"blockedAdsCount":            int64(0),
		"totalBlockedCount":          int64(0),
		"originalCertIssuer":         issuer,
		"originalCertStatus":         status,
	}}
}

// removeRules removes those that `isMeant` names; false if there were none.
func (p *product) removeRules(isMeant func(rule string) bool) bool {
	before, kept := len(p.rules), []string{}
	for _, rule := range p.rules {
		if !isMeant(rule) {
			kept = append(kept, rule)
		}
	}
	p.rules = kept
	return len(kept) < before
}

var domainOfRule = regexp.MustCompile(`^(?:@@)?\|\|([^/^$]+)`)

// concerns tells whether `rule` begins with a domain, as ||example.org^ does, that `host` belongs to.
func concerns(rule, host string) bool {
	match := domainOfRule.FindStringSubmatch(rule)
	return match != nil && strings.HasSuffix("."+host, "."+strings.ToLower(match[1]))
}

func hostOf(page any) string {
	address, err := url.Parse(page.(string))
	if err != nil {
		return ""
	}
	return strings.ToLower(address.Hostname())
}

func refusal(code int64, text string) object {
	return object{"NSError", dict{"NSDomain": app + ".ErrorDomain", "NSCode": code,
		"NSUserInfo": dict{"NSLocalizedDescription": text}}}
}

// answer gives the body of the reply, and whether the state is to be announced.
func (p *product) answer(asked request) (dict, bool) {
	command, isKnown := commands[asked.name]
	if !isKnown {
		return dict{"error": refusal(1, "The command is not known.")}, false
	}
	for key, example := range command.parameters {
		if reflect.TypeOf(asked.body[key]) != reflect.TypeOf(example) {
			text := "The parameter \"" + key + "\" is missing or of another kind."
			return dict{"error": refusal(2, text)}, false
		}
	}
	result := command.do(p, asked.body)
	if result == nil {
		return dict{}, command.isChange
	}
	if object, isObject := result.(object); isObject && object.class == "NSError" {
		return dict{"error": result}, false
	}
	return dict{"result": result}, command.isChange
}

// "From start to end", "Second start", "Announcing"

type application struct {
	notifications *notifications
	exchange      exchange
	product       product
	due           []time.Time // of announcements
}

func (a *application) run(container string) error {
	signals := make(chan os.Signal, 1)
	signal.Notify(signals, syscall.SIGTERM, syscall.SIGINT, syscall.SIGHUP)
	if err := a.exchange.prepare(); err != nil {
		return err
	}
	registration, err := register(container)
	if err != nil {
		return err
	}
	a.notifications.post(app + ".LAUNCHED")
	fmt.Println("ready")
	a.due = append(a.due, started.Add(500*time.Millisecond))
	a.serve(signals)
	os.Remove(registryFolder(container) + "/" + ownName)
	registration.Close()
	if len(a.due) > 0 {
		wait := time.Until(a.nextDue())
		if wait > 500*time.Millisecond {
			wait = 500 * time.Millisecond
		}
		time.Sleep(wait)
		a.notifications.post(prefix + "appState")
	}
	return nil
}

func (a *application) serve(signals <-chan os.Signal) {
	for {
		var announcement <-chan time.Time
		if len(a.due) > 0 {
			announcement = time.After(time.Until(a.nextDue()))
		}
		select {
		case <-signals:
			return
		case <-a.notifications.heard[prefix+"ready"]:
			a.due = append(a.due, time.Now().Add(500*time.Millisecond))
		case <-a.notifications.heard[prefix+"exchange"]:
			for _, asked := range a.exchange.takeRequests() {
				if isUsable(asked.id) {
					a.answer(asked)
				}
			}
		case <-announcement:
		}
		a.announceIfDue()
	}
}

func (a *application) answer(asked request) {
	body, isAnnounced := a.product.answer(asked)
	if err := a.exchange.reply(asked, body); err != nil {
		warn("no reply to "+asked.id, err) // this host hears nothing; others are not concerned
	}
	if isAnnounced {
		now := time.Now()
		a.due = append(a.due, now.Add(200*time.Millisecond), now.Add(2200*time.Millisecond))
	}
}

func (a *application) nextDue() time.Time {
	next := a.due[0]
	for _, when := range a.due {
		if when.Before(next) {
			next = when
		}
	}
	return next
}

// announceIfDue makes one announcement for all causes that are due.
func (a *application) announceIfDue() {
	now, later := time.Now(), []time.Time{}
	for _, when := range a.due {
		if when.After(now) {
			later = append(later, when)
		}
	}
	if len(later) < len(a.due) {
		a.due = later
		a.notifications.post(prefix + "appState")
	}
}

// becomeInstance returns false if another instance runs, which has then announced its state.
func becomeInstance(container string, lock *os.File) (bool, error) {
	if flock(lock, syscall.LOCK_EX|syscall.LOCK_NB) == nil {
		return true, nil
	}
	n, err := observe(container, prefix+"appState")
	if err != nil {
		return false, err
	}
	defer n.close()
	n.post(prefix + "ready")
	select {
	case <-n.heard[prefix+"appState"]:
		if somebodyIsRegistered(container) {
			return false, nil
		}
		return true, flock(lock, syscall.LOCK_EX) // that one is ending
	case <-time.After(2 * time.Second):
		if flock(lock, syscall.LOCK_EX|syscall.LOCK_NB) != nil {
			return false, errors.New("another instance runs and does not announce its state")
		}
		return true, nil
	}
}

// makeContainer makes it where the user database says, never below $HOME.
func makeContainer() (string, error) {
	account, err := user.LookupId(strconv.Itoa(os.Geteuid()))
	if err != nil {
		return "", err
	}
	container := account.HomeDir + "/.local/share/group-containers/" + group
	for _, folder := range []string{container, container + "/Library", container + "/Data"} {
		if err := os.MkdirAll(folder, 0700); err != nil {
			return "", err
		}
	}
	var status syscall.Stat_t
	if err := syscall.Stat(container, &status); err != nil {
		return "", err
	}
	if int(status.Uid) != os.Geteuid() || status.Mode&022 != 0 {
		return "", errors.New(container + " is somebody else's, or others may write to it")
	}
	return container, nil
}

func start() error {
	syscall.Umask(077)
	container, err := makeContainer()
	if err != nil {
		return err
	}
	lock, err := os.OpenFile(container+"/Library/"+app+".lock", os.O_RDWR|os.O_CREATE, 0600)
	if err != nil {
		return err
	}
	defer lock.Close() // without a later use the garbage collector would close it, and free the lock
	isOnly, err := becomeInstance(container, lock)
	if err != nil || !isOnly {
		return err
	}
	n, err := observe(container, prefix+"exchange", prefix+"ready")
	if err != nil {
		return err
	}
	defer n.close()
	data := container + "/Data"
	a := application{notifications: n,
		exchange: exchange{data, data + "/ExchangeRequestContainer.data", n},
		product: product{isProtected: true, notFiltered: map[string]bool{},
			hasCertificates: map[string]bool{}}}
	return a.run(container)
}

func main() {
	if err := start(); err != nil {
		warn("the application ends", err)
		os.Exit(1)
	}
}
