//! Lists the adapters that are up, looks up a host, and exchanges a text with an echo service there:
//!
//!     client HOST PORT

use std::ffi::{c_void, CStr, CString};
use std::os::raw::c_char;
use std::process::ExitCode;
use std::{env, ptr};

/// The part of include/kvtip/kvtip.h that this program uses. Rows are reached through pointers, so their last members may
/// be left out.
mod ffi {
    use super::{c_char, c_void};

    #[repr(C)]
    pub struct Address {
        family: u8,
        reserved: [u8; 3],
        scope: u32,
        bytes: [u8; 16],
    }

    #[repr(C)]
    pub struct Endpoint {
        address: Address,
        port: u16,
        reserved: u16,
    }

    #[repr(C)]
    pub struct List<Row> {
        pub rows: *const *const Row,
        pub count: usize,
        row_size: usize,
        missing: u32,
        reserved: u32,
    }

    #[repr(C)]
    pub struct AdapterOptions {
        pub size: u32,
        pub family: u32,
        pub up: u32,
    }

    #[repr(C)]
    pub struct AdapterAddress {
        pub address: Address,
    }

    #[repr(C)]
    pub struct Adapter {
        pub name: *const c_char,
        texts: [*const c_char; 4],
        numbers: [u32; 8],
        mac: [u8; 36],
        reserved: u32,
        dhcp_servers: [Address; 2],
        dhcpv6_duid: *const u8,
        dhcpv6_duid_size: usize,
        pub addresses: List<AdapterAddress>,
    }

    #[repr(C)]
    pub struct Resolution {
        size: u32,
        reserved: u32,
        canonical_name: *const c_char,
        pub endpoints: *const Endpoint,
        pub endpoint_count: usize,
    }

    #[repr(C)]
    pub struct ConnectResult {
        size: u32,
        code: u32,
        pub socket: usize,
        local: Endpoint,
        pub remote: Endpoint,
    }

    #[link(name = "kvtIP")]
    extern "C" {
        pub fn kvtip_adapters(options: *const AdapterOptions, adapters: *mut *const List<Adapter>) -> u32;
        pub fn kvtip_close(socket: usize) -> u32;
        pub fn kvtip_connect(
            host: *const c_char,
            service: *const c_char,
            options: *const c_void,
            result: *mut *const ConnectResult,
        ) -> u32;
        pub fn kvtip_format_address(address: *const Address, text: *mut c_char, capacity: usize) -> u32;
        pub fn kvtip_format_endpoint(endpoint: *const Endpoint, text: *mut c_char, capacity: usize) -> u32;
        pub fn kvtip_free(result: *const c_void);
        pub fn kvtip_message(code: u32, text: *mut c_char, capacity: usize) -> usize;
        pub fn kvtip_receive(socket: usize, buffer: *mut c_void, capacity: usize, timeout: u32, received: *mut usize)
            -> u32;
        pub fn kvtip_resolve(
            host: *const c_char,
            service: *const c_char,
            options: *const c_void,
            resolution: *mut *const Resolution,
        ) -> u32;
        pub fn kvtip_send(socket: usize, data: *const c_void, size: usize, timeout: u32, sent: *mut usize) -> u32;
    }
}

/// A result of the library, freed at the end.
struct Owned<T>(*const T);

impl<T> Owned<T> {
    /// Calls a function that sets a pointer to its result, and returns its code too: some have a result on failure.
    fn fetch(call: impl FnOnce(*mut *const T) -> u32) -> (Self, u32) {
        let mut result = ptr::null();
        let code = call(&mut result);
        (Owned(result), code)
    }
}

impl<T> std::ops::Deref for Owned<T> {
    type Target = T;
    fn deref(&self) -> &T {
        unsafe { self.0.as_ref() }.expect("no result")
    }
}

impl<T> Drop for Owned<T> {
    fn drop(&mut self) {
        unsafe { ffi::kvtip_free(self.0.cast()) }
    }
}

impl<Row> ffi::List<Row> {
    fn iter(&self) -> impl Iterator<Item = &Row> {
        (0..self.count).map(|i| unsafe { &**self.rows.add(i) })
    }
}

/// The text that `write` puts into a buffer.
fn text_of(write: impl FnOnce(*mut c_char, usize)) -> String {
    let mut buffer = [0 as c_char; 256];
    write(buffer.as_mut_ptr(), buffer.len());
    owned_text(buffer.as_ptr())
}

fn owned_text(text: *const c_char) -> String {
    unsafe { CStr::from_ptr(text) }.to_string_lossy().into_owned()
}

fn address_text(address: &ffi::Address) -> String {
    text_of(|text, capacity| unsafe {
        ffi::kvtip_format_address(address, text, capacity);
    })
}

fn endpoint_text(endpoint: &ffi::Endpoint) -> String {
    text_of(|text, capacity| unsafe {
        ffi::kvtip_format_endpoint(endpoint, text, capacity);
    })
}

fn check(code: u32) -> Result<(), String> {
    match code {
        0 => Ok(()),
        _ => Err(format!(
            "error {code}: {}",
            text_of(|text, capacity| unsafe {
                ffi::kvtip_message(code, text, capacity);
            })
        )),
    }
}

fn list_adapters() -> Result<(), String> {
    let options = ffi::AdapterOptions { size: std::mem::size_of::<ffi::AdapterOptions>() as u32, family: 0, up: 1 };
    let (adapters, code) = Owned::fetch(|result| unsafe { ffi::kvtip_adapters(&options, result) });
    check(code)?;
    for adapter in adapters.iter() {
        println!("{}", owned_text(adapter.name));
        for row in adapter.addresses.iter() {
            println!("  {}", address_text(&row.address));
        }
    }
    Ok(())
}

fn look_up(host: &CStr, port: &CStr) -> Result<(), String> {
    let (found, code) =
        Owned::fetch(|result| unsafe { ffi::kvtip_resolve(host.as_ptr(), port.as_ptr(), ptr::null(), result) });
    check(code)?;
    println!("{}", host.to_string_lossy());
    for i in 0..found.endpoint_count {
        println!("  {}", endpoint_text(unsafe { &*found.endpoints.add(i) }));
    }
    Ok(())
}

fn exchange(host: &CStr, port: &CStr) -> Result<(), String> {
    const DATA: &[u8] = b"hello from Rust";
    const TIMEOUT: u32 = 5000;
    let (connection, code) =
        Owned::fetch(|result| unsafe { ffi::kvtip_connect(host.as_ptr(), port.as_ptr(), ptr::null(), result) });
    check(code)?;

    let mut count = 0;
    let mut code =
        unsafe { ffi::kvtip_send(connection.socket, DATA.as_ptr().cast(), DATA.len(), TIMEOUT, &mut count) };
    let mut answer = [0; DATA.len()];
    let mut received = 0;
    while code == 0 && count != 0 && received < answer.len() {
        let rest = &mut answer[received..];
        code = unsafe {
            ffi::kvtip_receive(connection.socket, rest.as_mut_ptr().cast(), rest.len(), TIMEOUT, &mut count)
        };
        received += count;
    }
    unsafe { ffi::kvtip_close(connection.socket) };
    check(code)?;
    println!("{} returned: {}", endpoint_text(&connection.remote), String::from_utf8_lossy(&answer[..received]));
    Ok(())
}

fn main() -> ExitCode {
    let arguments: Vec<CString> = env::args().skip(1).filter_map(|text| CString::new(text).ok()).collect();
    let (host, port) = match arguments.as_slice() {
        [host, port] => (host, port),
        _ => {
            eprintln!("usage: client HOST PORT");
            return ExitCode::from(2);
        }
    };
    match list_adapters().and_then(|()| look_up(host, port)).and_then(|()| exchange(host, port)) {
        Ok(()) => ExitCode::SUCCESS,
        Err(message) => {
            eprintln!("{message}");
            ExitCode::FAILURE
        }
    }
}
