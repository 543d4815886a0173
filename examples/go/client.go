// Lists the adapters that are up, looks up a host, and exchanges a text with an echo service there:
//
//	client HOST PORT
//
// The DLL is called without cgo. The structures are those of include/kvtip/kvtip.h.
package main

import (
	"fmt"
	"os"
	"syscall"
	"unsafe"
)

var (
	library        = syscall.NewLazyDLL("kvtIP.dll")
	adapters       = library.NewProc("kvtip_adapters")
	closeSocket    = library.NewProc("kvtip_close")
	connect        = library.NewProc("kvtip_connect")
	formatAddress  = library.NewProc("kvtip_format_address")
	formatEndpoint = library.NewProc("kvtip_format_endpoint")
	free           = library.NewProc("kvtip_free")
	message        = library.NewProc("kvtip_message")
	receive        = library.NewProc("kvtip_receive")
	resolve        = library.NewProc("kvtip_resolve")
	send           = library.NewProc("kvtip_send")
)

// kvtip_address, kvtip_endpoint
type address struct {
	family   uint8
	reserved [3]uint8
	scope    uint32
	bytes    [16]uint8
}

type endpoint struct {
	address  address
	port     uint16
	reserved uint16
}

// Every list of the interface: kvtip_adapter_list and so on.
type list[Row any] struct {
	rows     **Row
	count    uintptr
	rowSize  uintptr
	missing  uint32
	reserved uint32
}

func (l *list[Row]) all() []*Row {
	return unsafe.Slice(l.rows, l.count)
}

// kvtip_adapter_options, and the first members of kvtip_adapter_address and kvtip_adapter. The rows are behind pointers, so
// that a program may leave out the members at the end.
type adapterOptions struct {
	size, family, up uint32
}

type adapterAddress struct {
	address address
}

type adapter struct {
	name, guid, description, dnsSuffix, deviceID *byte
	index, ipv6Index, adapterType, status        uint32
	ipv4Metric, ipv6Metric                       uint32
	dhcpEnabled, dhcpv6IAID                      uint32
	mac                                          [36]byte
	reserved                                     uint32
	dhcpServer, dhcpv6Server                     address
	dhcpv6DUID                                   *byte
	dhcpv6DUIDSize                               uintptr
	addresses                                    list[adapterAddress]
}

// kvtip_resolution
type resolution struct {
	size, reserved uint32
	canonicalName  *byte
	endpoints      *endpoint
	endpointCount  uintptr
}

// kvtip_connect_result, the first members
type connectResult struct {
	size, code    uint32
	socket        uintptr
	local, remote endpoint
}

// call calls a function that returns an error code. What the arguments point to stays where it is during the call.
//
//go:uintptrescapes
func call(function *syscall.LazyProc, arguments ...uintptr) error {
	result, _, _ := function.Call(arguments...)
	code := uint32(result)
	if code == 0 {
		return nil
	}
	var text [256]byte
	message.Call(uintptr(code), uintptr(unsafe.Pointer(&text)), unsafe.Sizeof(text))
	return fmt.Errorf("error %d: %s", code, goString(&text[0]))
}

func goString(text *byte) string {
	length := 0
	for *(*byte)(unsafe.Add(unsafe.Pointer(text), length)) != 0 {
		length++
	}
	return string(unsafe.Slice(text, length))
}

func (a *address) String() string {
	var text [51]byte
	formatAddress.Call(uintptr(unsafe.Pointer(a)), uintptr(unsafe.Pointer(&text)), unsafe.Sizeof(text))
	return goString(&text[0])
}

func (e *endpoint) String() string {
	var text [59]byte
	formatEndpoint.Call(uintptr(unsafe.Pointer(e)), uintptr(unsafe.Pointer(&text)), unsafe.Sizeof(text))
	return goString(&text[0])
}

func listAdapters() error {
	options := adapterOptions{up: 1}
	options.size = uint32(unsafe.Sizeof(options))
	var found *list[adapter]
	if err := call(adapters, uintptr(unsafe.Pointer(&options)), uintptr(unsafe.Pointer(&found))); err != nil {
		return err
	}
	defer free.Call(uintptr(unsafe.Pointer(found)))
	for _, adapter := range found.all() {
		fmt.Println(goString(adapter.name))
		for _, row := range adapter.addresses.all() {
			fmt.Printf("  %v\n", &row.address)
		}
	}
	return nil
}

func lookUp(host, port *byte) error {
	var found *resolution
	err := call(resolve, uintptr(unsafe.Pointer(host)), uintptr(unsafe.Pointer(port)), 0,
		uintptr(unsafe.Pointer(&found)))
	if err != nil {
		return err
	}
	defer free.Call(uintptr(unsafe.Pointer(found)))
	fmt.Println(goString(host))
	endpoints := unsafe.Slice(found.endpoints, found.endpointCount)
	for i := range endpoints {
		fmt.Printf("  %v\n", &endpoints[i])
	}
	return nil
}

func exchange(host, port *byte) error {
	var connection *connectResult
	err := call(connect, uintptr(unsafe.Pointer(host)), uintptr(unsafe.Pointer(port)), 0,
		uintptr(unsafe.Pointer(&connection)))
	// There is a result on failure, too.
	defer func() { free.Call(uintptr(unsafe.Pointer(connection))) }()
	if err != nil {
		return err
	}
	defer closeSocket.Call(connection.socket)

	const timeout = 5000
	data := []byte("hello from Go")
	var count uintptr
	err = call(send, connection.socket, uintptr(unsafe.Pointer(&data[0])), uintptr(len(data)), timeout,
		uintptr(unsafe.Pointer(&count)))
	received := make([]byte, len(data))
	for rest := received; err == nil && len(rest) > 0; rest = rest[count:] {
		err = call(receive, connection.socket, uintptr(unsafe.Pointer(&rest[0])), uintptr(len(rest)), timeout,
			uintptr(unsafe.Pointer(&count)))
		if err == nil && count == 0 {
			err = fmt.Errorf("the other side finished early")
		}
	}
	if err == nil {
		fmt.Printf("%v returned: %s\n", &connection.remote, received)
	}
	return err
}

func run(host, port string) error {
	hostText, err := syscall.BytePtrFromString(host)
	if err != nil {
		return err
	}
	portText, err := syscall.BytePtrFromString(port)
	if err != nil {
		return err
	}
	if err = listAdapters(); err == nil {
		err = lookUp(hostText, portText)
	}
	if err == nil {
		err = exchange(hostText, portText)
	}
	return err
}

func main() {
	if len(os.Args) != 3 {
		fmt.Fprintln(os.Stderr, "usage: client HOST PORT")
		os.Exit(2)
	}
	if err := run(os.Args[1], os.Args[2]); err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}
